#ifndef trelTissueOverlap_h
#define trelTissueOverlap_h

class trelShapeObject;

/**
 * Whether two shapes overlap in part: neither holds the other, but they have points in common.
 * Where their boxes along the first @p axes axes do not settle it a thousand points of the common
 * part of these are looked at, and of the inside and the surface of each shape, so that an overlap
 * by less than a few thousandths may go unnoticed. What is no wider than @p reach, mm, does not
 * count. Meshes must have been prepared for sampling.
 */
bool OverlapInPart(const trelShapeObject& a, const trelShapeObject& b, int axes, double reach);

#endif
