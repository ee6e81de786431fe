#include "trelTissueTraps.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <utility>

#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelPhysicsConstants.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"

/** How many of the tissues, sources or pairs that a warning is about it names. */
static constexpr std::size_t mostNamed = 10;

/** Pairs of tissues whose boxes are compared, and of those pairs whose shapes are, at most: a crowd
 *  of more is not searched to its end, which would take seconds. */
static constexpr int mostBoxTests = 10000000;
static constexpr int mostShapeTests = 10000;

/** Points along each axis at which two shapes are asked for what they have in common. */
static constexpr int probes = 6;

/** A tissue of fewer free paths is thin: one step in twenty is longer than three. */
static constexpr double fewFreePaths = 3.0;

/** The items with ", " between, the first ten of them. */
template <class Item, class Show>
static std::string JoinItems(const std::vector<Item>& items, Show show)
{
  std::string text;
  for (std::size_t i = 0; i < items.size() && i < mostNamed; ++i)
    text += (i > 0 ? ", " : "") + show(items[i]);
  if (items.size() > mostNamed) text += ", ... (" + std::to_string(items.size()) + ")";
  return text;
}

std::string ListNumbers(const std::string& word, const std::vector<int>& numbers)
{
  return word + (numbers.size() > 1 ? "s " : " ") +
         JoinItems(numbers, [](int number) { return std::to_string(number); });
}

/** The numbers of two tissues. */
using trelTissuePair = std::pair<int, int>;

static std::string ListPairs(const std::vector<trelTissuePair>& pairs)
{
  return "tissues " + JoinItems(pairs, [](const trelTissuePair& pair) {
           return std::to_string(pair.first) + " and " + std::to_string(pair.second);
         });
}

/** A tissue with a body, its number in the file, counted from 1, and its box. */
struct trelTissueTrapsBody
{
  trelTissueTrapsBody(int number, const trelTissue& tissue)
      : Number(number), Tissue(&tissue), Shape(tissue.GetShape()), Box(Shape->GetBox())
  {
  }

  int GetDimension() const { return Shape->GetTraits().Dimension; }
  bool IsMesh() const { return Shape->GetTraits().IsMesh(); }

  int Number;
  const trelTissue* Tissue;
  const trelShapeObject* Shape;
  trelBox Box;
};

/** The outermost tissue, if any, at the front, and the others in their order; none in a tetrahedral
 *  medium. */
static std::vector<trelTissueTrapsBody> GetBodies(const trelSimulationParameter& parameter)
{
  const trelMedium* medium = parameter.GetMedium();
  std::vector<trelTissueTrapsBody> bodies;
  if (!medium || medium->GetShapeIsTetrahedron() || !parameter.GetOuterShape()) return bodies;
  const int outermost = medium->GetOutermostTissueIndex();
  bodies.emplace_back(outermost + 1, *medium->GetOutermostTissue());
  int number = 0;
  for (const trelTissue* tissue : medium->GetTissues()->GetItems<trelTissue>()) {
    const bool hasBody = tissue->GetShape() && !tissue->GetShape()->IsEmpty();
    if (++number != outermost + 1 && hasBody) bodies.emplace_back(number, *tissue);
  }
  return bodies;
}

static std::vector<trelOpticalParameter*> GetOptics(const trelTissue& tissue)
{
  return tissue.GetOpticalParameters()->GetItems<trelOpticalParameter>();
}

/** Whether two tissues have the same refractive index at a wavelength. */
static bool HaveEqualIndex(const trelTissue& a, const trelTissue& b)
{
  const std::vector<trelOpticalParameter*> first = GetOptics(a);
  const std::vector<trelOpticalParameter*> second = GetOptics(b);
  for (std::size_t i = 0; i < first.size() && i < second.size(); ++i) {
    if (first[i]->GetRefractiveIndex() == second[i]->GetRefractiveIndex()) return true;
  }
  return false;
}

/** The tissues between which light can pass: in a medium of shapes the outermost and each other,
 *  since the inner ones are entered from it and left to it. */
static std::vector<trelTissuePair> FindNeighbours(const trelSimulationParameter& parameter)
{
  std::vector<trelTissuePair> pairs;
  const trelMedium* medium = parameter.GetMedium();
  if (medium && medium->GetShapeIsTetrahedron() && medium->GetTetrahedron()) {
    for (const auto& [a, b] : medium->GetTetrahedron()->FindTouchingRegions())
      pairs.emplace_back(a + 1, b + 1);
  }
  for (const trelTissueTrapsBody& body : GetBodies(parameter)) {
    const int outermost = medium->GetOutermostTissueIndex() + 1;
    if (body.Number != outermost) pairs.emplace_back(outermost, body.Number);
  }
  return pairs;
}

std::string FindEqualIndices(const trelSimulationParameter& parameter)
{
  if (!parameter.GetMedium()) return "";
  const auto tissues = parameter.GetMedium()->GetTissues()->GetItems<trelTissue>();
  std::vector<trelTissuePair> found;
  for (const trelTissuePair& pair : FindNeighbours(parameter)) {
    const auto [a, b] = pair;
    if (std::max(a, b) > static_cast<int>(tissues.size())) continue;
    if (HaveEqualIndex(*tissues[a - 1], *tissues[b - 1])) found.push_back(pair);
  }
  if (found.empty()) return "";
  return "tissuespectrumindex: " + ListPairs(found) +
         " touch and have the same refractive index: light crosses their boundary at a wrong angle,"
         " that of a refraction elsewhere; let the indices differ by 0.0001";
}

/** Whether the shape has flat faces across an axis; of a mesh all that touch its box count. */
static bool HasFlatFaces(const trelTissueTrapsBody& body, int axis)
{
  const trelShapeTraits& traits = body.Shape->GetTraits();
  return std::any_of(traits.begin(), traits.end(), [axis](const trelShapeFace& face) {
    return face.Place == PlaceTriangles || (IsFlatPlace(face.Place) && face.Place / 2 == axis);
  });
}

static bool ShareBounds(const trelBox& a, const trelBox& b, int axis)
{
  return ToleranceEqual(a.Low[axis], b.Low[axis]) && ToleranceEqual(a.High[axis], b.High[axis]);
}

/** Whether both have the same curved surface: two cylinders the tube, the others all of it. */
static bool ShareCurvedSurface(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
{
  const int curvedAxes = a.Shape->GetTraits().CurvedAxes;
  if (a.Shape->GetShapeType() != b.Shape->GetShapeType()) return false;
  bool shares = curvedAxes > 0;
  for (int axis = 0; axis < curvedAxes; ++axis)
    shares = shares && ShareBounds(a.Box, b.Box, axis);
  return shares;
}

static bool ShareSurface(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
{
  for (int axis = 0; axis < 3; ++axis) {
    if (!HasFlatFaces(a, axis) || !HasFlatFaces(b, axis)) continue;
    if (ToleranceEqual(a.Box.Low[axis], b.Box.Low[axis])) return true;
    if (ToleranceEqual(a.Box.High[axis], b.Box.High[axis])) return true;
  }
  return ShareCurvedSurface(a, b);
}

std::string FindSharedFaces(const trelSimulationParameter& parameter)
{
  const std::vector<trelTissueTrapsBody> bodies = GetBodies(parameter);
  std::vector<int> found;
  for (std::size_t i = 1; i < bodies.size(); ++i) {
    if (ShareSurface(bodies[0], bodies[i])) found.push_back(bodies[i].Number);
  }
  if (found.empty()) return "";
  return "tissueaxis: a face of " + ListNumbers("tissue", found) + " lies in the surface of " +
         ListNumbers("tissue", {bodies[0].Number}) +
         ", the outermost: packets are held there until stepnummax drops them; leave a gap of 0.001"
         " mm";
}

static bool LiesInBoxOf(const trelTissueTrapsBody& inner, const trelTissueTrapsBody& outer)
{
  return !inner.Box.ReachesBeyond(outer.Box, inner.GetDimension());
}

/** What two boxes have in common; turned inside out along an axis along which that is nothing. */
static trelBox GetCommonBox(const trelBox& a, const trelBox& b)
{
  return {
      {std::max(a.Low.X, b.Low.X), std::max(a.Low.Y, b.Low.Y), std::max(a.Low.Z, b.Low.Z)},
      {std::min(a.High.X, b.High.X), std::min(a.High.Y, b.High.Y), std::min(a.High.Z, b.High.Z)}};
}

static bool BoxesOverlap(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
{
  const trelBox common = GetCommonBox(a.Box, b.Box);
  for (int axis = 0; axis < a.GetDimension(); ++axis)
    if (!ToleranceGreater(common.High[axis], common.Low[axis])) return false;
  return true;
}

/** Whether one of a lattice of points in what the boxes have in common lies in both shapes. */
static bool ShapesOverlap(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
{
  const trelBox common = GetCommonBox(a.Box, b.Box);
  const trelVector size = common.GetSize();
  const int layers = a.GetDimension() == 3 ? probes : 1;
  for (int i = 0; i < probes * probes * layers; ++i) {
    const int cell[3] = {i % probes, i / probes % probes, i / (probes * probes)};
    trelVector point;
    for (int axis = 0; axis < a.GetDimension(); ++axis)
      point[axis] = common.Low[axis] + size[axis] * (cell[axis] + 0.5) / probes;
    if (a.Shape->LocatePoint(point) == PointInside && b.Shape->LocatePoint(point) == PointInside) {
      return true;
    }
  }
  return false;
}

/** A mesh cannot be asked for a point yet: of two boxes it is enough that one lies in the other. */
static bool AreNested(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
{
  if (a.IsMesh() || b.IsMesh()) return LiesInBoxOf(a, b) || LiesInBoxOf(b, a);
  return ShapesOverlap(a, b);
}

/** The pairs found so far, and what it took. */
struct trelNestedPairSearch
{
  std::vector<trelTissuePair> Found;
  int BoxTests = 0;
  int ShapeTests = 0;

  bool IsOver() const
  {
    return Found.size() == mostNamed || BoxTests == mostBoxTests || ShapeTests == mostShapeTests;
  }

  void Compare(const trelTissueTrapsBody& a, const trelTissueTrapsBody& b)
  {
    ++BoxTests;
    if (!BoxesOverlap(a, b)) return;
    ++ShapeTests;
    if (AreNested(a, b)) Found.push_back(std::minmax(a.Number, b.Number));
  }
};

/** Goes along x, so that tissues far apart there are never compared. */
static std::vector<trelTissuePair> FindNestedPairs(std::vector<trelTissueTrapsBody> inner)
{
  std::sort(inner.begin(), inner.end(),
            [](const auto& a, const auto& b) { return a.Box.Low.X < b.Box.Low.X; });
  trelNestedPairSearch search;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    const double end = inner[i].Box.High.X;
    for (std::size_t j = i + 1; j < inner.size() && inner[j].Box.Low.X < end; ++j) {
      if (search.IsOver()) return search.Found;
      search.Compare(inner[i], inner[j]);
    }
  }
  return search.Found;
}

std::string FindNestedTissues(const trelSimulationParameter& parameter)
{
  std::vector<trelTissueTrapsBody> bodies = GetBodies(parameter);
  if (bodies.size() < 3) return "";
  bodies.erase(bodies.begin());
  const std::vector<trelTissuePair> found = FindNestedPairs(bodies);
  if (found.empty()) return "";
  return "tissueaxis: " + ListPairs(found) +
         " have room in common: a packet in one of them does not see the other; put inner tissues"
         " side by side in the outermost one, or write a tetrahedral mesh";
}

std::string FindNearlyClearTissues(const trelSimulationParameter& parameter)
{
  if (!parameter.GetMedium()) return "";
  std::vector<int> found;
  int number = 0;
  for (const trelTissue* tissue : parameter.GetMedium()->GetTissues()->GetItems<trelTissue>()) {
    ++number;
    for (const trelOpticalParameter* optics : GetOptics(*tissue)) {
      const double interaction = optics->GetAbsorption() + optics->GetScattering();
      if (!(interaction > 0.0 && interaction <= ClearInteraction)) continue;
      found.push_back(number);
      break;
    }
  }
  if (found.empty()) return "";
  return "tissuespectrumindex: absorption and scattering of " + ListNumbers("tissue", found) +
         " add up to no more than 0.1: such tissue counts as clear, absorbs nothing, and packets"
         " scatter right behind it; write 0 0 for clear tissue";
}

/** The longest mean free path of the wavelengths, mm. */
static double GetFreePath(const trelTissue& tissue)
{
  double longest = 0.0;
  for (const trelOpticalParameter* optics : GetOptics(tissue)) {
    const double interaction = optics->GetAbsorption() + optics->GetScattering();
    longest = std::max(longest, interaction > ClearInteraction ? 1.0 / interaction : ClearStep);
  }
  return longest;
}

static double GetThickness(const trelTissueTrapsBody& body)
{
  const trelVector size = body.Box.GetSize();
  return body.GetDimension() == 3 ? std::min({size.X, size.Y, size.Z}) : std::min(size.X, size.Y);
}

/** How thick the outer body is around the inner one where it is thickest: a tissue in a corner does
 *  not make a shell of what surrounds it. */
static double GetShellThickness(const trelTissueTrapsBody& inner, const trelTissueTrapsBody& outer)
{
  double thickness = 0.0;
  for (int axis = 0; axis < inner.GetDimension(); ++axis) {
    thickness = std::max(thickness, inner.Box.Low[axis] - outer.Box.Low[axis]);
    thickness = std::max(thickness, outer.Box.High[axis] - inner.Box.High[axis]);
  }
  return thickness;
}

static bool IsThin(double thickness, double freePath)
{
  return thickness > 0.0 && thickness < fewFreePaths * freePath;
}

std::string FindThinTissues(const trelSimulationParameter& parameter)
{
  const std::vector<trelTissueTrapsBody> bodies = GetBodies(parameter);
  if (bodies.size() < 2) return "";
  const double around = GetFreePath(*bodies[0].Tissue);
  std::vector<int> found;
  if (std::any_of(bodies.begin() + 1, bodies.end(), [&](const trelTissueTrapsBody& inner) {
        return IsThin(GetShellThickness(inner, bodies[0]), around);
      })) {
    found.push_back(bodies[0].Number);
  }
  for (std::size_t i = 1; i < bodies.size(); ++i) {
    const double longest = std::max(around, GetFreePath(*bodies[i].Tissue));
    if (IsThin(GetThickness(bodies[i]), longest)) found.push_back(bodies[i].Number);
  }
  if (found.empty()) return "";
  return "tissueaxis: steps cross " + ListNumbers("tissue", found) +
         ", thinner than three free paths (its own, or those around it; in clear tissue 0.5 mm), or"
         " what it surrounds, unseen; make it thicker";
}
