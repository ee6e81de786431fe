#include "trelTissueCut.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "trelMedium.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelTissueMap.h"

/** Whether all from @p begin to @p end is a number, which @p value gets. */
template <class Number>
static bool ReadAll(const char* begin, const char* end, Number& value)
{
  const auto [rest, error] = std::from_chars(begin, end, value);
  return error == std::errc() && rest == end;
}

std::string ReadCutPlane(const std::string& text, trelCutPlane* plane)
{
  const char* const fault = "expected x, y or z, an equals sign and where, in mm: z=0.5";
  if (text.size() < 3 || text[1] != '=' || text[0] < 'x' || text[0] > 'z') return fault;
  plane->Axis = text[0] - 'x';
  const char* const end = text.data() + text.size();
  const char* const colon = std::find(text.data(), end, ':');
  if (!ReadAll(text.data() + 2, colon, plane->Value) || !std::isfinite(plane->Value)) return fault;
  if (colon == end) return "";
  const bool isRead = ReadAll(colon + 1, end, plane->Points);
  if (isRead && plane->Points >= 1 && plane->Points <= trelCutPlane::MostPoints) return "";
  return "expected 1 to " + std::to_string(trelCutPlane::MostPoints) + " points behind the colon";
}

/** The points along both sides, so that their cells are about square. */
static void CountPoints(trelTissueCut& cut)
{
  const double lengths[2] = {cut.High[0] - cut.Low[0], cut.High[1] - cut.Low[1]};
  const double longer = std::max(lengths[0], lengths[1]);
  for (int side = 0; side < 2; ++side) {
    const double points = std::round(cut.Plane.Points * (lengths[side] / longer));
    cut.Counts[side] = points >= 1.0 ? static_cast<int>(points) : 1;
  }
}

bool CutTissues(const trelSimulationParameter& parameter, const trelCutPlane& plane,
                trelTissueCut* cut)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  const bool isPlanar = parameter.GetDimension() == Dimension2D;
  trelTissueMap map;
  // A coarse grid of distances: nothing is asked where one would help.
  if (!outer || outer->IsEmpty() || !map.Build(*parameter.GetMedium(), 1.0)) return false;
  if (isPlanar && (plane.Axis != 2 || plane.Value != 0.0)) return false;
  cut->Plane = plane;
  const trelBox box = outer->GetBox();
  for (int axis = 0, side = 0; axis < 3; ++axis) {
    if (axis == plane.Axis) continue;
    cut->Axes[side] = axis;
    cut->Low[side] = box.Low[axis];
    cut->High[side] = box.High[axis];
    ++side;
  }
  CountPoints(*cut);
  const auto place = [&](int side, int i) {
    const double part = (i + 0.5) / cut->Counts[side];
    return cut->Low[side] + part * (cut->High[side] - cut->Low[side]);
  };
  double point[3];
  point[plane.Axis] = plane.Value;
  cut->Tissues.reserve(static_cast<std::size_t>(cut->Counts[0]) * cut->Counts[1]);
  for (int i = 0; i < cut->Counts[0]; ++i) {
    point[cut->Axes[0]] = place(0, i);
    for (int j = 0; j < cut->Counts[1]; ++j) {
      point[cut->Axes[1]] = place(1, j);
      cut->Tissues.push_back(map.FindTissue({point[0], point[1], point[2]}) + 1);
    }
  }
  return true;
}
