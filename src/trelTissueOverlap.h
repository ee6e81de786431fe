#ifndef trelTissueOverlap_h
#define trelTissueOverlap_h

class trelShapeObject;

/**
 * Whether two shapes overlap in part: neither holds the other, but they have points in common. A
 * thousand points of each and of the common part of their boxes are looked at, along the first
 * @p axes axes; boxes that overlap or stick out by no more than @p reach, mm, do not count.
 */
bool OverlapInPart(const trelShapeObject& a, const trelShapeObject& b, int axes, double reach);

#endif
