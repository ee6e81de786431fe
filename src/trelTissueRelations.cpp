#include "trelTissueRelations.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelPacketNumbers.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"
#include "trelTissueMap.h"

/** Points of a tissue's inside and of its surface that are asked for others. */
static constexpr int numberOfPoints = 128;
/** Pairs of tissues whose boxes, and whose points, are compared, at most; a pair with a mesh counts
 *  for more. Seconds. */
static constexpr int mostBoxTests = 100000000;
static constexpr int mostPairs = 200000;
static constexpr int costOfMesh = 50;
/** Tissues that hold their points at a time, 6 kB each. */
static constexpr int mostDrawn = 20000;
/** Faces nearer than this, mm, that are not one are told of. */
static constexpr double nearFaces = 1e-4;
/** Volumes that differ by less than this part are equal. */
static constexpr double equalMeasure = 1e-6;

/** A tissue with a body, and points of it. */
struct trelTissueRelationsBody
{
  int Index;
  const trelShapeObject* Shape;
  double Measure;
  double Bounds[6];
  std::vector<trelVector> Inner, Outer;
};

/** The outermost tissue, and the diagonal of its box, mm, which surfaces at one place go by. */
struct trelTissueRelationsMedium
{
  int Outermost;
  double Diagonal;
};

static double GetDiagonal(const trelSimulationParameter& parameter)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  return outer ? Length(outer->GetBox().GetSize()) : 0.0;
}

static std::string NameTissue(int index)
{
  return "tissue " + std::to_string(index + 1);
}

static std::vector<trelTissueRelationsBody> GetBodies(const trelSimulationParameter& parameter)
{
  std::vector<trelTissueRelationsBody> bodies;
  int index = -1;
  for (const trelTissue* tissue : parameter.GetMedium()->GetTissues()->GetItems<trelTissue>()) {
    ++index;
    const trelShapeObject* shape = tissue->GetShape();
    if (!shape || shape->IsEmpty()) continue;
    trelTissueRelationsBody body{index, shape, shape->ComputeMeasure(), {}, {}, {}};
    shape->GetBoundingBox(body.Bounds);
    bodies.push_back(std::move(body));
  }
  return bodies;
}

/** Moves a point of the inside to one of the flat faces, in turn: thin plates have side faces that
 *  hardly any point drawn by area lies on. False for a shape without flat faces. */
static bool MoveToFlatFace(const trelTissueRelationsBody& body, int turn, trelVector* point)
{
  const trelShapeTraits& traits = body.Shape->GetTraits();
  const int faces = traits.IsMesh() ? 0 : 2 * (traits.Dimension - traits.CurvedAxes);
  if (faces == 0) return false;
  const int face = 2 * traits.CurvedAxes + turn % faces;
  (*point)[face / 2] = body.Bounds[face];
  return true;
}

/** Draws points, unless the body has them; one of which none is found, flat or open, has none. How
 *  many bodies more have points. */
static int DrawPoints(trelTissueRelationsBody& body)
{
  if (!body.Inner.empty() || !body.Outer.empty()) return 0;
  trelPacketNumbers numbers;
  numbers.Start(1, static_cast<std::uint64_t>(body.Index), 0);
  if (!body.Shape->PrepareSampling()) return 1;
  trelVector point;
  while (static_cast<int>(body.Inner.size()) < numberOfPoints &&
         body.Shape->SampleVolumeUniformly(numbers, &point)) {
    body.Inner.push_back(point);
    if (MoveToFlatFace(body, static_cast<int>(body.Inner.size()), &point))
      body.Outer.push_back(point);
  }
  for (int i = 0; i < numberOfPoints && body.Shape->SampleSurfaceUniformly(numbers, &point); ++i)
    body.Outer.push_back(point);
  return 1;
}

/** How many bodies fewer have points. */
static int ForgetPoints(trelTissueRelationsBody& body)
{
  const bool hasPoints = !body.Inner.empty() || !body.Outer.empty();
  body.Inner = {};
  body.Outer = {};
  return hasPoints ? 1 : 0;
}

static int CostOf(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b)
{
  return a.Shape->GetTraits().IsMesh() || b.Shape->GetTraits().IsMesh() ? costOfMesh : 1;
}

static bool BoxesMeet(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b)
{
  for (int axis = 0; axis < a.Shape->GetTraits().Dimension; ++axis) {
    if (a.Bounds[2 * axis] > b.Bounds[2 * axis + 1] + nearFaces ||
        b.Bounds[2 * axis] > a.Bounds[2 * axis + 1] + nearFaces) {
      return false;
    }
  }
  return true;
}

static bool LiesIn(const trelTissueRelationsBody& body, const trelShapeObject& shape)
{
  return !body.Inner.empty() &&
         std::all_of(body.Inner.begin(), body.Inner.end(),
                     [&](const trelVector& point) { return shape.Holds(point); });
}

/** How far apart surfaces of the two bodies count as lying at one place, mm. */
static double GetReach(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                       double diagonal)
{
  const bool isMesh = a.Shape->GetTraits().IsMesh() || b.Shape->GetTraits().IsMesh();
  return (isMesh ? trelTissueMap::ReachOfMeshes : trelTissueMap::ReachOfShapes) * diagonal;
}

/** Whether the surface of the shape crosses one of the axes through the point within about
 *  @p reach, mm. Asked of few points: the bound settles the others. */
static bool PassesBy(const trelShapeObject& shape, const trelVector& point, double reach)
{
  if (shape.BoundDistance(point) > reach) return false;
  for (int axis = 0; axis < shape.GetTraits().Dimension; ++axis) {
    trelRay ray = {point, {}};
    ray.Direction[axis] = 1.0;
    trelHit hit;
    if (shape.FindCrossing(ray, -2.0 * reach, 2.0 * reach, &hit)) return true;
  }
  return false;
}

static bool HaveCommonSurface(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                              double diagonal)
{
  const double reach = GetReach(a, b, diagonal);
  const auto liesOn = [reach](const trelShapeObject& shape) {
    return [&shape, reach](const trelVector& p) { return PassesBy(shape, p, reach); };
  };
  return std::any_of(a.Outer.begin(), a.Outer.end(), liesOn(*b.Shape)) ||
         std::any_of(b.Outer.begin(), b.Outer.end(), liesOn(*a.Shape));
}

/** Whether @p a has what both hold: the smaller one, of equal ones the earlier. */
static bool Wins(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b)
{
  const double difference = a.Measure - b.Measure;
  if (std::fabs(difference) <= equalMeasure * std::max(a.Measure, b.Measure))
    return a.Index < b.Index;
  return difference < 0.0;
}

/** The same where one may be the outermost, which has what no other holds. */
static bool IsAhead(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                    int outermost)
{
  return b.Index == outermost || (a.Index != outermost && Wins(a, b));
}

/** The list of a body. */
static std::vector<int>& ListOf(std::vector<std::vector<int>>& lists,
                                const trelTissueRelationsBody& body)
{
  return lists[static_cast<std::size_t>(body.Index)];
}

static void Relate(trelTissueRelationsBody& a, trelTissueRelationsBody& b,
                   const trelTissueRelationsMedium& medium, trelTissueRelations& relations)
{
  const bool isAhead = IsAhead(a, b, medium.Outermost);
  trelTissueRelationsBody &small = isAhead ? a : b, &large = isAhead ? b : a;
  if (LiesIn(small, *large.Shape)) ListOf(relations.LiesIn, small).push_back(large.Index + 1);
  if (HaveCommonSurface(small, large, medium.Diagonal)) {
    ListOf(relations.Touches, small).push_back(large.Index + 1);
    ListOf(relations.Touches, large).push_back(small.Index + 1);
  }
}

/** Relates bodies whose boxes meet, in the order of their lower ends along x. */
static void RelateBodies(std::vector<trelTissueRelationsBody>& bodies,
                         const trelTissueRelationsMedium& medium, trelTissueRelations& relations)
{
  int tests = 0, work = 0, drawn = 0;
  std::int64_t pairs = 0;
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    for (std::size_t j = i + 1; j < bodies.size(); ++j) {
      if (bodies[j].Bounds[0] > bodies[i].Bounds[1] + nearFaces) break;
      if (++tests > mostBoxTests || work > mostPairs || drawn > mostDrawn) {
        relations.Pairs = pairs;
        return;
      }
      if (!BoxesMeet(bodies[i], bodies[j])) continue;
      ++pairs;
      work += CostOf(bodies[i], bodies[j]);
      drawn += DrawPoints(bodies[i]) + DrawPoints(bodies[j]);
      Relate(bodies[i], bodies[j], medium, relations);
    }
    drawn -= ForgetPoints(bodies[i]);
  }
}

static void RelateRegions(const trelMCTetrahedron& mesh, trelTissueRelations& relations)
{
  const auto number = static_cast<std::int32_t>(relations.Touches.size());
  for (const auto& [a, b] : mesh.FindTouchingRegions()) {
    if (std::max(a, b) >= number) continue;
    relations.Touches[static_cast<std::size_t>(a)].push_back(b + 1);
    relations.Touches[static_cast<std::size_t>(b)].push_back(a + 1);
  }
}

trelTissueRelations RelateTissues(const trelSimulationParameter& parameter)
{
  trelTissueRelations relations;
  relations.LiesIn.resize(static_cast<std::size_t>(parameter.GetNumberOfTissues()));
  relations.Touches = relations.LiesIn;
  const trelMedium& medium = *parameter.GetMedium();
  if (medium.GetShapeIsTetrahedron()) {
    if (medium.GetTetrahedron()) RelateRegions(*medium.GetTetrahedron(), relations);
    return relations;
  }
  std::vector<trelTissueRelationsBody> bodies = GetBodies(parameter);
  std::sort(bodies.begin(), bodies.end(),
            [](const auto& a, const auto& b) { return a.Bounds[0] < b.Bounds[0]; });
  RelateBodies(bodies, {medium.GetOutermostTissueIndex(), GetDiagonal(parameter)}, relations);
  return relations;
}

/** A flat face, or the place of a curved one along an axis. */
struct trelTissueRelationsFace
{
  double Place;
  const trelTissueRelationsBody* Body;
};

static bool IsBetween(double difference, double reach)
{
  return std::fabs(difference) > reach && std::fabs(difference) < nearFaces;
}

static bool HasFlatFaces(const trelTissueRelationsBody& body, int axis)
{
  const trelShapeTraits& traits = body.Shape->GetTraits();
  return traits.IsMesh() || (axis < traits.Dimension && axis >= traits.CurvedAxes);
}

/** Whether the boxes have an area in common when seen along an axis. */
static bool FaceEachOther(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                          int seen)
{
  for (int axis = 0; axis < a.Shape->GetTraits().Dimension; ++axis) {
    if (axis == seen) continue;
    if (std::min(a.Bounds[2 * axis + 1], b.Bounds[2 * axis + 1]) -
            std::max(a.Bounds[2 * axis], b.Bounds[2 * axis]) <=
        nearFaces) {
      return false;
    }
  }
  return true;
}

static void TellNearFaces(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                          trelModelFindings& findings)
{
  const std::string name = NameTissue(std::max(a.Index, b.Index));
  findings.Add(FindingWarning, findings.GetLineOf(name, "tissue"), 0,
               "faces of " + NameTissue(std::min(a.Index, b.Index)) + " and " + name +
                   " run within 1e-4 mm of each other, and not at one place: between them lies a"
                   " thin layer of what is around",
               "write both at the same place, or further apart");
}

/** Curved surfaces of one kind about one axis. */
static bool AreNearlyOne(const trelTissueRelationsBody& a, const trelTissueRelationsBody& b,
                         double reach)
{
  const int curved = a.Shape->GetTraits().CurvedAxes;
  if (curved == 0 || a.Shape->GetShapeType() != b.Shape->GetShapeType()) return false;
  bool differs = false;
  for (int i = 0; i < 2 * curved; ++i) {
    const double difference = a.Bounds[i] - b.Bounds[i];
    if (std::fabs(difference) >= nearFaces) return false;
    differs = differs || IsBetween(difference, reach);
  }
  return differs;
}

static bool RunNear(const trelTissueRelationsFace& low, const trelTissueRelationsFace& high,
                    int axis, double diagonal)
{
  const trelTissueRelationsBody &a = *low.Body, &b = *high.Body;
  if (a.Index == b.Index) return false;
  const double reach = GetReach(a, b, diagonal);
  if (axis == 0 && AreNearlyOne(a, b, reach)) return true;
  return HasFlatFaces(a, axis) && HasFlatFaces(b, axis) &&
         IsBetween(high.Place - low.Place, reach) && FaceEachOther(a, b, axis);
}

/** The lower and upper ends of all bodies along an axis, in order. */
static std::vector<trelTissueRelationsFace> SortFaces(
    const std::vector<trelTissueRelationsBody>& bodies, int axis)
{
  std::vector<trelTissueRelationsFace> faces;
  for (const trelTissueRelationsBody& body : bodies) {
    faces.push_back({body.Bounds[2 * axis], &body});
    faces.push_back({body.Bounds[2 * axis + 1], &body});
  }
  std::sort(faces.begin(), faces.end(),
            [](const auto& a, const auto& b) { return a.Place < b.Place; });
  return faces;
}

void FindNearFaces(const trelSimulationParameter& parameter, trelModelFindings& findings)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  if (!outer || parameter.GetMedium()->GetShapeIsTetrahedron()) return;
  const double diagonal = GetDiagonal(parameter);
  const std::vector<trelTissueRelationsBody> bodies = GetBodies(parameter);
  int tests = 0;
  for (int axis = 0; axis < 3; ++axis) {
    const std::vector<trelTissueRelationsFace> faces = SortFaces(bodies, axis);
    for (std::size_t i = 0; i < faces.size(); ++i) {
      for (std::size_t j = i + 1; j < faces.size() && ++tests < mostBoxTests &&
                                  faces[j].Place - faces[i].Place < nearFaces;
           ++j) {
        if (RunNear(faces[i], faces[j], axis, diagonal))
          TellNearFaces(*faces[i].Body, *faces[j].Body, findings);
      }
    }
  }
}
