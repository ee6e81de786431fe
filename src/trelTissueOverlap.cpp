#include "trelTissueOverlap.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "trelPacketNumbers.h"
#include "trelShapeObject.h"

/** Points of the common part of two boxes, and of the inside and the surface of a body; of a mesh,
 *  which may be thin and run across its box, more. */
static constexpr int pointsInBox = 1024;
static constexpr int pointsOfShape = 64;
static constexpr int pointsOfMesh = 512;

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

/** Pairs of bodies whose boxes are compared for overlaps, and of those pairs whose points are, at
 *  most; a pair with a mesh counts for more. Seconds. */
static constexpr double mostBoxTests = 1e8;
static constexpr double mostOverlapTests = 2e5;
static constexpr double costOfMesh = 50.0;

/** Whether the shape is its box. */
static bool IsBox(const trelShapeObject& shape)
{
  return !shape.GetTraits().IsMesh() && shape.GetTraits().CurvedAxes == 0;
}

/** Two shapes, and what is known of them: whether they have points in common, and whether each has
 *  points of its own. */
struct trelTissueOverlapPair
{
  const trelShapeObject* Shapes[2];
  double Reach;
  bool HaveCommon = false;
  bool HasOwn[2] = {false, false};

  bool IsSettled() const { return HaveCommon && HasOwn[0] && HasOwn[1]; }

  /** Takes a point of shape @p n, which tells of both unless it lies on the other's surface. */
  void Take(int n, const trelVector& point)
  {
    const trelShapeObject& other = *Shapes[1 - n];
    bool& told = other.Holds(point) ? HaveCommon : HasOwn[n];
    told = told || other.BoundDistance(point) > Reach;
  }

  /** Takes points of a part of both boxes. */
  void TakeBox(const trelBox& box)
  {
    for (int i = 0; i < pointsInBox && !IsSettled(); ++i) {
      const trelVector point = PointInBox(box, i);
      for (int n = 0; n < 2; ++n)
        if (Shapes[n]->Holds(point)) Take(n, point);
    }
  }

  /** Takes points of shape @p n: a thin body has hardly any of a box. */
  void TakeBody(int n)
  {
    trelPacketNumbers numbers;
    numbers.Start(1, static_cast<std::uint64_t>(n), 0);
    trelVector point;
    bool isSolid = true;
    const int points = Shapes[n]->GetTraits().IsMesh() ? pointsOfMesh : pointsOfShape;
    for (int i = 0; i < points && !(HaveCommon && HasOwn[n]); ++i) {
      isSolid = isSolid && Shapes[n]->SampleVolumeUniformly(numbers, &point);
      if (isSolid) Take(n, point);
      if (!Shapes[n]->SampleSurfaceUniformly(numbers, &point)) return;
      Take(n, point);
    }
  }
};

/** Whether the surface of @p b is further from the middle of @p a than any point of @p a. */
static bool LiesApart(const trelShapeObject& a, const trelShapeObject& b)
{
  const trelBox box = a.GetBox();
  // A curved shape ends where its half-axes do.
  const trelShapeTraits& traits = a.GetTraits();
  const double radius = traits.CurvedAxes == traits.Dimension
                            ? 0.5 * std::max({box.GetSize().X, box.GetSize().Y, box.GetSize().Z})
                            : 0.5 * Length(box.GetSize());
  return b.BoundDistance(0.5 * (box.Low + box.High)) > radius;
}

/** The part that two boxes have in common, and which of them has more; false if that is not more
 *  than the reach along all axes. */
static bool CutBoxes(const trelBox (&boxes)[2], int axes, trelTissueOverlapPair& pair,
                     trelBox* common)
{
  for (int i = 0; i < axes; ++i) {
    common->Low[i] = std::max(boxes[0].Low[i], boxes[1].Low[i]);
    common->High[i] = std::min(boxes[0].High[i], boxes[1].High[i]);
    if (!(common->High[i] - common->Low[i] > pair.Reach)) return false;
    for (int n = 0; n < 2; ++n)
      pair.HasOwn[n] = pair.HasOwn[n] || common->Low[i] - boxes[n].Low[i] > pair.Reach ||
                       boxes[n].High[i] - common->High[i] > pair.Reach;
  }
  return true;
}

bool OverlapInPart(const trelShapeObject& a, const trelShapeObject& b, int axes, double reach)
{
  trelTissueOverlapPair pair{{&a, &b}, reach};
  trelBox common;
  if (!CutBoxes({a.GetBox(), b.GetBox()}, axes, pair, &common)) return false;
  // What lies in a box has nothing of its own.
  if ((IsBox(b) && !pair.HasOwn[0]) || (IsBox(a) && !pair.HasOwn[1])) return false;
  if (IsBox(a) && IsBox(b)) return true;
  if (LiesApart(a, b) || LiesApart(b, a)) return false;
  pair.TakeBox(common);
  for (int n = 0; n < 2 && !pair.IsSettled(); ++n)
    pair.TakeBody(n);
  return pair.IsSettled();
}

/** Whether the boxes have more than @p reach, mm, in common along each axis. */
static bool BoxesMeet(const trelBox& a, const trelBox& b, double reach)
{
  for (int axis = 0; axis < 3; ++axis) {
    const double common = std::min(a.High[axis], b.High[axis]) - std::max(a.Low[axis], b.Low[axis]);
    if (!(common > reach)) return false;
  }
  return true;
}

/** Goes along x, so that bodies far apart there are never compared. */
/** Calls @p look with the pairs of bodies whose boxes meet along x, in the order of x, until it
 *  answers false. */
template <class Look>
static void SweepAlongX(const std::vector<trelRankedBody>& bodies, Look look)
{
  std::vector<const trelRankedBody*> sorted;
  sorted.reserve(bodies.size());
  for (const trelRankedBody& body : bodies)
    sorted.push_back(&body);
  std::sort(sorted.begin(), sorted.end(), [](const trelRankedBody* a, const trelRankedBody* b) {
    return a->Box.Low.X < b->Box.Low.X;
  });
  for (auto i = sorted.begin(); i != sorted.end(); ++i)
    for (auto j = i + 1; j != sorted.end() && (*j)->Box.Low.X < (*i)->Box.High.X; ++j)
      if (!look(*i, *j)) return;
}

std::vector<trelTissueOverlap> FindPartialOverlaps(const std::vector<trelRankedBody>& bodies,
                                                   int axes, std::int64_t* looked)
{
  std::vector<trelTissueOverlap> overlaps;
  double boxes = 0.0, work = 0.0;
  std::int64_t pairs = 0;
  *looked = -1;
  SweepAlongX(bodies, [&](const trelRankedBody* one, const trelRankedBody* two) {
    if (++boxes > mostBoxTests || work > mostOverlapTests) {
      *looked = pairs;
      return false;
    }
    // By their places in the list.
    const auto [winner, other] = std::minmax(one, two);
    const double reach = std::max(winner->Reach, other->Reach);
    if (!BoxesMeet(winner->Box, other->Box, reach)) return true;
    ++pairs;
    work += winner->IsMesh || other->IsMesh ? costOfMesh : 1.0;
    const std::int32_t a = winner->Tissue, b = other->Tissue;
    if (OverlapInPart(*winner->Shape, *other->Shape, axes, reach))
      overlaps.push_back({std::min(a, b), std::max(a, b), a});
    return true;
  });
  std::sort(overlaps.begin(), overlaps.end(),
            [](const trelTissueOverlap& a, const trelTissueOverlap& b) {
              return std::make_pair(a.First, a.Second) < std::make_pair(b.First, b.Second);
            });
  return overlaps;
}
