#ifndef trelTissueOverlap_h
#define trelTissueOverlap_h

#include <cstdint>
#include <vector>

#include "trelVector.h"

class trelShapeObject;

/** Two tissues neither of which holds the other, but that have points in common, and which of them
 *  has these. */
struct trelTissueOverlap
{
  std::int32_t First, Second, Winner;
};

/** A tissue's body; those of a list stand by rank, whoever is first wins. */
struct trelRankedBody
{
  const trelShapeObject* Shape;
  std::int32_t Tissue;
  bool IsMesh;
  trelBox Box;
  double Reach;  ///< what is no wider does not count as common, mm
};

/**
 * Whether two shapes overlap in part: neither holds the other, but they have points in common.
 * Where their boxes along the first @p axes axes do not settle it a thousand points of the common
 * part of these are looked at, and of the inside and the surface of each shape, so that an overlap
 * by less than a few thousandths may go unnoticed. What is no wider than @p reach, mm, does not
 * count. Meshes must have been prepared for sampling.
 */
bool OverlapInPart(const trelShapeObject& a, const trelShapeObject& b, int axes, double reach);

/** The pairs of bodies that overlap in part, ascending. Of too many the first are looked at, and
 *  @p looked is how many pairs these are, else -1. May throw std::bad_alloc. */
std::vector<trelTissueOverlap> FindPartialOverlaps(const std::vector<trelRankedBody>& bodies,
                                                   int axes, std::int64_t* looked);

#endif
