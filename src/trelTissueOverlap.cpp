#include "trelTissueOverlap.h"

#include <algorithm>
#include <cmath>

#include "trelShapeObject.h"

/** The point number @p i of a sequence that fills a box evenly: multiples of powers of the plastic
 *  number's inverse (M. Roberts, 2018). */
static trelVector PointInBox(const trelBox& box, int i)
{
  static constexpr double steps[3] = {0.8191725133961645, 0.6710436067037893, 0.5497004779019703};
  trelVector point;
  for (int a = 0; a < 3; ++a) {
    const double u = 0.5 + i * steps[a];
    point[a] = box.Low[a] + (u - std::floor(u)) * (box.High[a] - box.Low[a]);
  }
  return point;
}

/** Whether a point of @p box that lies in @p in lies in @p other, or does not if @p outside. */
static bool FindsPoint(const trelBox& box, const trelShapeObject& in, const trelShapeObject& other,
                       bool outside)
{
  constexpr int points = 1024;
  for (int i = 0; i < points; ++i) {
    const trelVector point = PointInBox(box, i);
    if (in.Holds(point) && other.Holds(point) != outside) return true;
  }
  return false;
}

bool OverlapInPart(const trelShapeObject& a, const trelShapeObject& b, int axes, double reach)
{
  const trelBox boxes[2] = {a.GetBox(), b.GetBox()};
  trelBox common;
  bool sticksOut[2] = {false, false};
  for (int i = 0; i < axes; ++i) {
    common.Low[i] = std::max(boxes[0].Low[i], boxes[1].Low[i]);
    common.High[i] = std::min(boxes[0].High[i], boxes[1].High[i]);
    if (!(common.High[i] - common.Low[i] > reach)) return false;
    for (int n = 0; n < 2; ++n)
      sticksOut[n] = sticksOut[n] || common.Low[i] - boxes[n].Low[i] > reach ||
                     boxes[n].High[i] - common.High[i] > reach;
  }
  if (axes == 2) common.Low.Z = common.High.Z = 0.0;
  return FindsPoint(common, a, b, false) && (sticksOut[0] || FindsPoint(boxes[0], a, b, true)) &&
         (sticksOut[1] || FindsPoint(boxes[1], b, a, true));
}
