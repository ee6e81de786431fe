#include "trelElementLocator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "trelMCTetrahedron.h"

/** Of the diagonal of the mesh. */
static constexpr double slackOfMesh = 1e-12;
static constexpr double shortStepOfMesh = 1e-7;
/** A search that passes more elements starts anew in the grid. */
static constexpr int mostSteps = 32;
/** Entries of the grid for each element at most: boxes that overlap much get larger cells. */
static constexpr double mostEntries = 32.0;

void trelElementLocator::Clear()
{
  *this = {};
}

void trelElementLocator::Build(const trelMCTetrahedron& mesh)
{
  Clear();
  Elements.resize(mesh.GetNumberOfTetrahedra());
  if (Elements.empty()) return;
  for (std::uint32_t t = 0; t < mesh.GetNumberOfTetrahedra(); ++t)
    TakeElement(mesh, t);
  JoinNeighbours(mesh);
  LayOutGrid(mesh);
}

/** The planes of an element's faces. One without volume holds no point. */
void trelElementLocator::TakeElement(const trelMCTetrahedron& mesh, std::uint32_t t)
{
  Element& element = Elements[t];
  const std::array<trelVector, 4> corners = mesh.GetCorners(t);
  for (std::size_t k = 0; k < 4; ++k) {
    const trelVector& a = corners[(k + 1) % 4];
    trelVector normal = Normalized(Cross(corners[(k + 2) % 4] - a, corners[(k + 3) % 4] - a));
    const double height = Dot(normal, corners[k] - a);
    const bool isFlat = !(std::fabs(height) > 0.0);
    if (isFlat) normal = {};
    if (height < 0.0) normal = -normal;
    element.X[k] = normal.X;
    element.Y[k] = normal.Y;
    element.Z[k] = normal.Z;
    element.Offset[k] = isFlat ? std::numeric_limits<double>::lowest() : -Dot(normal, a);
    element.Behind[k] = -1;
  }
}

/** Joins elements whose faces have the same vertices. */
void trelElementLocator::JoinNeighbours(const trelMCTetrahedron& mesh)
{
  struct Face
  {
    std::array<std::uint32_t, 3> Vertices;
    std::uint32_t Element;
    std::uint32_t Number;
  };
  std::vector<Face> faces;
  faces.reserve(4 * Elements.size());
  for (std::uint32_t t = 0; t < mesh.GetNumberOfTetrahedra(); ++t) {
    const auto& v = mesh.GetTetrahedron(t);
    for (std::uint32_t k = 0; k < 4; ++k) {
      Face face{{v[(k + 1) % 4], v[(k + 2) % 4], v[(k + 3) % 4]}, t, k};
      std::sort(face.Vertices.begin(), face.Vertices.end());
      faces.push_back(face);
    }
  }
  std::sort(faces.begin(), faces.end(), [](const Face& a, const Face& b) {
    return a.Vertices != b.Vertices ? a.Vertices < b.Vertices : a.Element < b.Element;
  });
  for (std::size_t i = 1; i < faces.size(); ++i) {
    const Face &a = faces[i - 1], &b = faces[i];
    if (a.Vertices != b.Vertices) continue;
    Elements[a.Element].Behind[a.Number] = static_cast<std::int32_t>(b.Element);
    Elements[b.Element].Behind[b.Number] = static_cast<std::int32_t>(a.Element);
  }
}

/** About a cell for each element, or as few as keep the lists short. */
void trelElementLocator::LayOutGrid(const trelMCTetrahedron& mesh)
{
  std::vector<trelBox> boxes(Elements.size());
  for (std::uint32_t t = 0; t < mesh.GetNumberOfTetrahedra(); ++t) {
    for (const trelVector& corner : mesh.GetCorners(t)) {
      boxes[t].Extend(corner);
      Box.Extend(corner);
    }
  }
  const double diagonal = Length(Box.GetSize());
  Slack = slackOfMesh * diagonal;
  ShortStep = std::max(shortStepOfMesh * diagonal, std::numeric_limits<double>::min());
  const auto number = static_cast<double>(Elements.size());
  for (double along = std::cbrt(number); along >= 1.0; along *= 0.5) {
    std::fill_n(Cells, 3, static_cast<std::size_t>(along));
    if (CountEntries(boxes) <= mostEntries * number) break;
  }
  FillGrid(boxes);
}

/** The cell along an axis, the nearest for a place beside the grid. */
std::size_t trelElementLocator::FindCell(double place, int axis) const
{
  const double low = Box.Low[axis], size = Box.High[axis] - low;
  const auto cells = static_cast<double>(Cells[axis]);
  const double cell = (place - low) / size * cells;
  return cell > 0.0 ? static_cast<std::size_t>(std::min(cell, cells - 1.0)) : 0;
}

double trelElementLocator::CountEntries(const std::vector<trelBox>& boxes) const
{
  double entries = 0.0;
  for (const trelBox& box : boxes) {
    double cells = 1.0;
    for (int axis = 0; axis < 3; ++axis)
      cells *=
          static_cast<double>(FindCell(box.High[axis], axis) - FindCell(box.Low[axis], axis) + 1);
    entries += cells;
  }
  return entries;
}

template <class Visit>
void trelElementLocator::VisitCells(const trelBox& box, Visit visit) const
{
  std::size_t first[3], last[3];
  for (int axis = 0; axis < 3; ++axis) {
    first[axis] = FindCell(box.Low[axis], axis);
    last[axis] = FindCell(box.High[axis], axis);
  }
  for (std::size_t i = first[0]; i <= last[0]; ++i)
    for (std::size_t j = first[1]; j <= last[1]; ++j)
      for (std::size_t k = first[2]; k <= last[2]; ++k)
        visit((i * Cells[1] + j) * Cells[2] + k);
}

/** Counts the lists, then fills them. */
void trelElementLocator::FillGrid(const std::vector<trelBox>& boxes)
{
  Starts.assign(Cells[0] * Cells[1] * Cells[2] + 1, 0);
  for (const trelBox& box : boxes)
    VisitCells(box, [&](std::size_t cell) { ++Starts[cell + 1]; });
  for (std::size_t cell = 1; cell < Starts.size(); ++cell)
    Starts[cell] += Starts[cell - 1];
  Entries.resize(Starts.back());
  std::vector<std::uint32_t> next = Starts;
  for (std::size_t t = 0; t < boxes.size(); ++t)
    VisitCells(boxes[t],
               [&](std::size_t cell) { Entries[next[cell]++] = static_cast<std::uint32_t>(t); });
}

/** The distance of the point from the face that it is least inside of, which is @p face. */
double trelElementLocator::Element::FindClearance(const trelVector& point, int* face) const
{
  double distances[4];
  for (int k = 0; k < 4; ++k)
    distances[k] = X[k] * point.X + Y[k] * point.Y + Z[k] * point.Z + Offset[k];
  const int low = distances[1] < distances[0] ? 1 : 0;
  const int high = distances[3] < distances[2] ? 3 : 2;
  *face = distances[high] < distances[low] ? high : low;
  return distances[*face];
}

static trelElementPlace MakePlace(const trelVector& point, double clearance, std::int32_t element)
{
  return {point, clearance > 0.0 ? clearance * clearance : -1.0, element};
}

void trelElementLocator::Find(const trelVector& point, trelElementPlace* place) const
{
  std::int32_t at = place->Element;
  for (int step = 0; step < mostSteps && at >= 0; ++step) {
    const Element& element = Elements[static_cast<std::size_t>(at)];
    int face = 0;
    const double clearance = element.FindClearance(point, &face);
    if (clearance >= -Slack) {
      *place = MakePlace(point, clearance, at);
      return;
    }
    at = element.Behind[face];
  }
  FindInGrid(point, place);
}

void trelElementLocator::FindInGrid(const trelVector& point, trelElementPlace* place) const
{
  *place = {};
  if (Elements.empty()) return;
  const std::size_t cell =
      (FindCell(point.X, 0) * Cells[1] + FindCell(point.Y, 1)) * Cells[2] + FindCell(point.Z, 2);
  double best = std::numeric_limits<double>::lowest();  // which flat elements have
  for (std::uint32_t i = Starts[cell]; i < Starts[cell + 1]; ++i) {
    int face = 0;
    const double clearance = Elements[Entries[i]].FindClearance(point, &face);
    if (!(clearance > best)) continue;
    best = clearance;
    *place = MakePlace(point, best, static_cast<std::int32_t>(Entries[i]));
    if (best >= 0.0) return;
  }
}

double trelElementLocator::FindExit(const trelRay& ray, std::int32_t element) const
{
  const Element& e = Elements[static_cast<std::size_t>(element)];
  const trelVector &p = ray.Origin, &u = ray.Direction;
  double exit = std::numeric_limits<double>::infinity();
  for (int k = 0; k < 4; ++k) {
    const double speed = e.X[k] * u.X + e.Y[k] * u.Y + e.Z[k] * u.Z;
    if (!(speed < 0.0)) continue;
    exit = std::min(exit, (e.X[k] * p.X + e.Y[k] * p.Y + e.Z[k] * p.Z + e.Offset[k]) / -speed);
  }
  return exit;
}
