#include "trelMCTriangleMesh.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <tuple>

#include "trelMemory.h"
#include "trelMeshOrientation.h"
#include "trelOFFReader.h"
#include "trelPLYReader.h"
#include "trelSTLReader.h"
#include "trelSURFReader.h"
#include "trelTriangleMesh.h"
#include "trelUniformNumbers.h"

/** The one region of a closed surface. */
static constexpr std::int32_t insideRegion = 0;

trelMCTriangleMesh::~trelMCTriangleMesh() = default;

const trelTraceableMesh::ReaderEnding* trelMCTriangleMesh::GetReaderEndings() const
{
  static const ReaderEnding endings[] = {
      {"ply", []() -> trelMeshReader* { return new trelPLYReader; }},
      {"off", []() -> trelMeshReader* { return new trelOFFReader; }},
      {"stl", []() -> trelMeshReader* { return new trelSTLReader; }},
      {"surf", []() -> trelMeshReader* { return new trelSURFReader; }},
      {nullptr, nullptr}};
  return endings;
}

void trelMCTriangleMesh::ClearMesh()
{
  trelTraceableMesh::ClearMesh();
  AreaSums = {};
  BodyVoxels = {};
}

bool trelMCTriangleMesh::ImportData(const trelMesh* mesh)
{
  return ImportMesh(dynamic_cast<const trelTriangleMesh*>(mesh));
}

bool trelMCTriangleMesh::ImportMesh(const trelTriangleMesh* mesh)
{
  ClearMesh();
  if (!mesh || !CopySurface(*mesh)) {
    ClearMesh();
    return false;
  }
  SetBox();
  WarnOfOpenEdges();
  return true;
}

/** For each vertex the first one at the same position: files may repeat a vertex for each of its
 *  triangles. May throw std::bad_alloc. */
static std::vector<std::uint32_t> MergePositions(const std::vector<trelTraceableVertex>& vertices)
{
  const auto position = [&](std::uint32_t v) {
    return std::make_tuple(vertices[v].X, vertices[v].Y, vertices[v].Z);
  };
  std::vector<std::uint32_t> order(vertices.size()), first(vertices.size());
  std::iota(order.begin(), order.end(), 0u);
  // A vertex with a NaN belongs to no triangle, but would spoil the order.
  order.erase(std::remove_if(order.begin(), order.end(),
                             [&](std::uint32_t v) {
                               return std::isnan(vertices[v].X + vertices[v].Y + vertices[v].Z);
                             }),
              order.end());
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return std::make_pair(position(a), a) < std::make_pair(position(b), b);
  });
  for (std::size_t i = 0; i < order.size(); ++i) {
    const bool repeated = i > 0 && position(order[i]) == position(order[i - 1]);
    first[order[i]] = repeated ? first[order[i - 1]] : order[i];
  }
  return first;
}

/** The edges that not just two triangles share, by their vertices. May throw std::bad_alloc. */
static std::vector<std::pair<std::uint32_t, std::uint32_t>> FindOpenEdges(
    const std::vector<trelTraceableVertex>& vertices,
    const std::vector<trelTraceableTriangle>& triangles)
{
  const std::vector<std::uint32_t> first = MergePositions(vertices);
  std::vector<std::pair<std::uint32_t, std::uint32_t>> edges, open;
  edges.reserve(3 * triangles.size());
  for (const trelTraceableTriangle& triangle : triangles) {
    for (int c = 0; c < 3; ++c) {
      edges.push_back(
          std::minmax({first[triangle.Vertices[c]], first[triangle.Vertices[(c + 1) % 3]]}));
    }
  }
  std::sort(edges.begin(), edges.end());
  for (auto edge = edges.begin(); edge != edges.end();) {
    const auto next = std::upper_bound(edge, edges.end(), *edge);
    if (std::distance(edge, next) != 2 && edge->first != edge->second) open.push_back(*edge);
    edge = next;
  }
  return open;
}

/** Warns if the surface is not closed or meets itself along an edge: then the inside cannot be told
 *  from the outside reliably. Without memory for the check the mesh is traced unchecked. */
void trelMCTriangleMesh::WarnOfOpenEdges() const
{
  FitsInMemory([&] {
    const auto open = FindOpenEdges(Vertices, Triangles);
    if (open.empty()) return;
    const trelTraceableVertex &a = Vertices[open[0].first], &b = Vertices[open[0].second];
    WarningMacro(
        "the surface \"" << GetFilePath() << "\" is not closed: " << open.size()
                         << " edges have one triangle or more than two, for example the one "
                         << "from vertex " << open[0].first << " (" << a.X << ", " << a.Y << ", "
                         << a.Z << ") to vertex " << open[0].second << " (" << b.X << ", " << b.Y
                         << ", " << b.Z << "). Points may be taken to lie on the wrong side.");
  });
}

void trelMCTriangleMesh::GetRegionsOfTriangle(std::uint32_t /*t*/, std::int32_t regions[2]) const
{
  regions[0] = insideRegion;
  regions[1] = -1;
}

VoxelCenterRule trelMCTriangleMesh::GetCenterRule() const
{
  return CenterMakesSurface;
}

void trelMCTriangleMesh::OnTableBuilt(trelVoxelTable& table) const
{
  table.Settle({GetBox()});
}

std::vector<std::int8_t> trelMCTriangleMesh::OrientTriangles(
    const trelMeshCrossings& crossings) const
{
  const std::vector<std::uint32_t> first = MergePositions(Vertices);
  std::vector<trelMeshOrientation::Corners> corners;
  corners.reserve(Triangles.size());
  for (const trelTraceableTriangle& triangle : Triangles) {
    const std::uint32_t* v = triangle.Vertices;
    corners.push_back({first[v[0]], first[v[1]], first[v[2]]});
  }
  return trelMeshOrientation(corners).OrientOutward(crossings);
}

double trelMCTriangleMesh::ComputeMeasure() const
{
  return ComputeVolume(insideRegion);
}

PointRelation trelMCTriangleMesh::LocatePoint(double x, double y, double z) const
{
  const trelVector point = {x, y, z};
  const trelVoxelTable& table = GetVoxelTable();
  std::size_t cell = 0;
  const bool isInGrid = table.FindCell(point, &cell);
  if (isInGrid && table.IsSettledIn(cell, insideRegion)) return PointInside;
  if (!EnsureTable()) return PointUndetermined;
  const double coordinates[3] = {x, y, z};
  if (IsOutsideBox<3>(coordinates) || table.IsEmpty() || std::isnan(x + y + z)) {
    return PointOutside;
  }
  if (!isInGrid) cell = table.CellAt(point);
  switch (table.GetState(cell)) {
    case insideRegion:
      return PointInside;
    case trelVoxelTable::NoRegion:
      return PointOutside;
    default:
      return table.ClassifyPointInVoxel(x, y, z, cell, insideRegion);
  }
}

int trelMCTriangleMesh::FindNearestTriangle(const trelRay& ray, RaySide side,
                                            double* distance) const
{
  if (!EnsureTable()) return -1;
  const trelVoxelTable& table = GetVoxelTable();
  return table.FindNearest(ray, insideRegion, side, table.GetWholeRange(), distance);
}

bool trelMCTriangleMesh::IntersectRay(double x, double y, double z, double dx, double dy, double dz,
                                      double* distance, int* face, double* nx, double* ny,
                                      double* nz, int raySide) const
{
  *face = FindNearestTriangle({{x, y, z}, {dx, dy, dz}}, static_cast<RaySide>(raySide), distance);
  if (*face < 0) return false;
  const trelVector& normal = Triangles[static_cast<std::size_t>(*face)].Normal;
  *nx = normal.X;
  *ny = normal.Y;
  *nz = normal.Z;
  return true;
}

trelReportErrorMacro(trelMCTriangleMesh)

/** Twice the area of the triangle a, b, p in the plane z = 0, positive if it runs anticlockwise. */
static double SideOfEdge(const trelTraceableVertex& a, const trelTraceableVertex& b, double x,
                         double y)
{
  return (b.X - a.X) * (y - a.Y) - (b.Y - a.Y) * (x - a.X);
}

/** True if the point lies in the triangle as seen along z, edges included. */
static bool IsAboveTriangle(const trelTraceableVertex* const corners[3], double x, double y)
{
  bool left = true, right = true;
  for (int c = 0; c < 3; ++c) {
    const double side = SideOfEdge(*corners[c], *corners[(c + 1) % 3], x, y);
    left = left && side >= 0.0;
    right = right && side <= 0.0;
  }
  return left || right;
}

/** One attempt of three numbers: a triangle, and x and y in its box; z follows from its plane.
 * False if the point lies beside the triangle, or if that is upright. */
bool trelMCTriangleMesh::SampleTriangleMeshSurface(trelUniformNumbers& numbers,
                                                   trelVector* point) const
{
  const std::uint32_t count = GetNumberOfTriangles();
  const auto drawn = static_cast<std::uint32_t>(numbers.NextRandom() * count);
  const trelTraceableTriangle& triangle = Triangles[std::min(drawn, count - 1)];
  const trelTraceableVertex* corners[3];
  for (int c = 0; c < 3; ++c)
    corners[c] = &Vertices[triangle.Vertices[c]];
  const auto inX = std::minmax({corners[0]->X, corners[1]->X, corners[2]->X});
  const auto inY = std::minmax({corners[0]->Y, corners[1]->Y, corners[2]->Y});
  const double x = inX.first + numbers.NextRandom() * (inX.second - inX.first);
  const double y = inY.first + numbers.NextRandom() * (inY.second - inY.first);
  const trelVector& normal = triangle.Normal;
  if (normal[2] == 0.0 || !IsAboveTriangle(corners, x, y)) return false;
  const double z = corners[0]->Z -
                   (normal[0] * (x - corners[0]->X) + normal[1] * (y - corners[0]->Y)) / normal[2];
  *point = {x, y, z};
  return true;
}

/** Attempts until one meets its triangle. All triangles are drawn equally often, but small and
 *  slanted ones fail more often, and upright ones never emit. */
bool trelMCTriangleMesh::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  for (int attempt = 0; !IsEmpty() && attempt < MaximumAttempts; ++attempt) {
    if (SampleTriangleMeshSurface(numbers, point)) return true;
  }
  return false;
}

void trelMCTriangleMesh::SumAreas() const
{
  AreaSums.clear();
  double sum = 0.0;
  for (const trelTraceableTriangle& triangle : Triangles)
    AreaSums.push_back(sum += triangle.Area);
}

void trelMCTriangleMesh::ListVoxels() const
{
  const trelVoxelTable& table = GetVoxelTable();
  BodyVoxels.clear();
  for (std::size_t cell = 0; !table.IsEmpty() && cell < table.GetNumberOfVoxels(); ++cell) {
    // Far from the origin rounding may place points of a voxel into the next one.
    if (table.GetState(cell) != trelVoxelTable::NoRegion || !table.IsNearOrigin()) {
      BodyVoxels.push_back(static_cast<std::uint32_t>(cell));
    }
  }
}

bool trelMCTriangleMesh::PrepareSampling() const
{
  if (!HasPoints() || !EnsureTable()) return false;
  return FitsInMemory([this] {
    SumAreas();
    ListVoxels();
  });
}

bool trelMCTriangleMesh::SampleVolumeUniformly(trelUniformNumbers& numbers, trelVector* point) const
{
  const trelVoxelTable& table = GetVoxelTable();
  const auto count = static_cast<double>(BodyVoxels.size());
  for (int attempt = 0; !BodyVoxels.empty() && attempt < MaximumAttempts; ++attempt) {
    // The number of voxels is small enough that the product stays below it.
    const auto drawn = static_cast<std::size_t>(numbers.NextRandom() * count);
    const trelBox box = table.GetBox(BodyVoxels[drawn]);
    for (int axis = 0; axis < 3; ++axis)
      (*point)[axis] = box.Low[axis] + numbers.NextRandom() * (box.High[axis] - box.Low[axis]);
    if (Holds(*point)) return true;
  }
  return false;
}

bool trelMCTriangleMesh::SampleSurfaceUniformly(trelUniformNumbers& numbers,
                                                trelVector* point) const
{
  if (AreaSums.empty() || !(AreaSums.back() > 0.0)) return false;
  const double drawn = numbers.NextRandom() * AreaSums.back();
  const auto above = std::upper_bound(AreaSums.begin(), std::prev(AreaSums.end()), drawn);
  const trelTraceableTriangle& triangle =
      Triangles[static_cast<std::size_t>(above - AreaSums.begin())];
  const trelVector a = Vertices[triangle.Vertices[0]].Position();
  const trelVector b = Vertices[triangle.Vertices[1]].Position();
  const trelVector c = Vertices[triangle.Vertices[2]].Position();
  double u = numbers.NextRandom(), v = numbers.NextRandom();
  // The half of the parallelogram beyond the triangle is turned into it.
  if (u + v > 1.0) {
    u = 1.0 - u;
    v = 1.0 - v;
  }
  *point = a + u * (b - a) + v * (c - a);
  return true;
}
