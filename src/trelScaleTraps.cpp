#include "trelScaleTraps.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"
#include "trelTissueMap.h"
#include "trelTissueTraps.h"

/** Lengths that differ by this factor are taken to be in different units. */
static constexpr double otherUnit = 1000.0;

/** A source so many times as large as the medium is not meant: a hundredth of a beam or less of
 *  that width meets it. */
static constexpr double tooWide = 10.0;

/** The items, counted from 1, for which @p isConcerned holds. */
template <class Item, class Test>
static std::vector<int> Select(const trelList* list, Test isConcerned)
{
  std::vector<int> found;
  int number = 0;
  for (const Item* item : ItemsOf<Item>(list)) {
    ++number;
    if (isConcerned(*item)) found.push_back(number);
  }
  return found;
}

/** The longest edge of the shape's box, mm. */
static double GetSize(const trelShapeObject& shape)
{
  const trelVector halfAxes = shape.GetHalfAxes();
  return 2.0 * std::max({halfAxes.X, halfAxes.Y, halfAxes.Z});
}

static bool IsMesh(const trelShapeObject& shape)
{
  return shape.GetTraits().IsMesh();
}

/** Whether a shape in a body is a thousandth or a thousand times as large, one of them a mesh. */
static bool IsOutOfScale(const trelShapeObject* shape, const trelShapeObject& body)
{
  if (!shape || shape == &body || shape->IsEmpty() || !(IsMesh(*shape) || IsMesh(body))) {
    return false;
  }
  const double size = GetSize(*shape);
  const double bodySize = GetSize(body);
  return size > 0.0 && (size * otherUnit <= bodySize || size >= otherUnit * bodySize);
}

/** The same for a source. One that is no mesh may have any small size, but if the body is a mesh it
 *  must not be that far away either. */
static bool IsSourceOutOfScale(const trelLightSource& source, const trelShapeObject& body)
{
  const trelShapeObject* shape = source.GetShape();
  if (!shape) return false;
  if (IsMesh(*shape) || !IsMesh(body)) return IsOutOfScale(shape, body);
  const trelVector apart = shape->GetCenter() - body.GetCenter();
  const double distance = std::hypot(apart.X, apart.Y, apart.Z);
  // A light source within reach of a body lies no further from its middle than a few of its sizes.
  return std::max(distance, GetSize(*shape)) >= 0.1 * otherUnit * GetSize(body);
}

/** The body that bounds the medium; null if there is none, or it is flat or turned inside out. */
static const trelShapeObject* GetBody(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = parameter.GetOuterShape();
  if (!body || body->IsEmpty()) return nullptr;
  return body->GetTraits().IsMesh() || body->ComputeMeasure() > 0.0 ? body : nullptr;
}

/** The tissues, but the outermost, with a shape for which @p isConcerned holds. */
template <class Test>
static std::vector<int> SelectTissues(const trelSimulationParameter& parameter,
                                      const trelShapeObject& body, Test isConcerned)
{
  return Select<trelTissue>(parameter.GetMedium()->GetTissues(), [&](const trelTissue& tissue) {
    const trelShapeObject* shape = tissue.GetShape();
    return shape && shape != &body && !shape->IsEmpty() && isConcerned(*shape);
  });
}

std::string FindMeshesOutOfScale(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = GetBody(parameter);
  if (!body) return "";
  const std::vector<int> tissues = SelectTissues(
      parameter, *body, [&](const trelShapeObject& shape) { return IsOutOfScale(&shape, *body); });
  const std::vector<int> sources = Select<trelLightSource>(
      parameter.GetLightSources(),
      [&](const trelLightSource& source) { return IsSourceOutOfScale(source, *body); });
  if (tissues.empty() && sources.empty()) return "";
  std::string names = tissues.empty() ? "" : ListNumbers("tissue", tissues);
  if (!sources.empty()) names += (names.empty() ? "" : ", ") + ListNumbers("light source", sources);
  return "tissuepath: between the medium and " + names +
         ", of which one is a mesh, lies a factor of a thousand or so: a mesh in other units is not"
         " converted; write its vertices in mm";
}

/** Whether the body lies in the shape, and so deep that it is further from the surface than from
 *  one side of itself to the other. */
static bool Engulfs(const trelShapeObject& shape, const trelShapeObject& body)
{
  const trelVector center = body.GetCenter();
  const double radius = Length(body.GetHalfAxes());
  return shape.Holds(center) && shape.BoundDistance(center) > 3.0 * radius;
}

/** Whether the shape is further from the box of the body than @p gap, mm. */
static bool LiesBeside(const trelShapeObject& shape, const trelShapeObject& body, double gap)
{
  const trelBox a = shape.GetBox(), b = body.GetBox();
  for (int axis = 0; axis < body.GetTraits().Dimension; ++axis)
    if (a.Low[axis] > b.High[axis] + gap || b.Low[axis] > a.High[axis] + gap) return true;
  return false;
}

std::string FindEngulfingTissues(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = GetBody(parameter);
  if (!body) return "";
  const std::vector<int> found = SelectTissues(parameter, *body, [&](const trelShapeObject& shape) {
    return !IsOutOfScale(&shape, *body) && Engulfs(shape, *body);
  });
  if (found.empty()) return "";
  return "tissueaxis: the whole medium lies deep within " + ListNumbers("tissue", found) +
         ", and nothing is left of the outermost tissue; write all lengths in mm, or the large"
         " tissue as the outermost";
}

std::string FindTissuesBeside(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = GetBody(parameter);
  if (!body) return "";
  const std::vector<int> found = SelectTissues(parameter, *body, [&](const trelShapeObject& shape) {
    return LiesBeside(shape, *body, 0.0);
  });
  if (found.empty()) return "";
  return "tissuecenter: nothing of " + ListNumbers("tissue", found) +
         " lies in the outermost tissue, and light never gets there; write all lengths in mm, or"
         " make the outermost tissue larger";
}

std::string FindWideSources(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = GetBody(parameter);
  if (!body) return "";
  const std::vector<int> found =
      Select<trelLightSource>(parameter.GetLightSources(), [&](const trelLightSource& source) {
        const trelShapeObject* shape = source.GetShape();
        return shape && GetSize(*shape) >= tooWide * GetSize(*body) &&
               !IsSourceOutOfScale(source, *body);
      });
  if (found.empty()) return "";
  return "lightsourceaxis: " + ListNumbers("light source", found) +
         (found.size() > 1 ? " are" : " is") +
         " ten times as large as the medium or more: little of it counts; write all lengths in mm";
}

std::string FindFibersThatCollectNothing(const trelSimulationParameter& parameter)
{
  const trelShapeObject* body = GetBody(parameter);
  if (!body) return "";
  const double reach = trelTissueMap::ReachOfMeshes * 2.0 * Length(body->GetHalfAxes());
  const std::vector<int> found =
      Select<trelDetector>(parameter.GetDetectors(), [&](const trelDetector& detector) {
        if (detector.GetDetectorType() != DetectorFiber) return false;
        const auto* shape = static_cast<const trelFiberDetector&>(detector).GetShape();
        return shape && (LiesBeside(*shape, *body, reach) || Engulfs(*shape, *body));
      });
  if (found.empty()) return "";
  return "fiberdetectoraxis: the fibre of " + ListNumbers("detector", found) +
         " collects nothing: it lies apart from the medium, or the medium lies deep within it;"
         " write all lengths in mm, and let the fibre touch the medium";
}
