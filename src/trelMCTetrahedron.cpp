#include "trelMCTetrahedron.h"

#include <algorithm>
#include <cmath>

#include "trelAMReader.h"
#include "trelMemory.h"
#include "trelNeutralReader.h"
#include "trelTetrahedron.h"

trelMCTetrahedron::~trelMCTetrahedron() = default;

const trelTraceableMesh::ReaderEnding* trelMCTetrahedron::GetReaderEndings() const
{
  static const ReaderEnding endings[] = {
      {"am", []() -> trelMeshReader* { return new trelAMReader; }},
      {"mesh", []() -> trelMeshReader* { return new trelNeutralReader; }},
      {nullptr, nullptr}};
  return endings;
}

void trelMCTetrahedron::ClearMesh()
{
  trelTraceableMesh::ClearMesh();
  Tetrahedra = {};
  FaceOwners = {};
  RegionOfTetrahedron = {};
  Regions = {};
}

std::uint32_t trelMCTetrahedron::GetNumberOfTetrahedra() const
{
  return static_cast<std::uint32_t>(Tetrahedra.size());
}

std::array<trelVector, 4> trelMCTetrahedron::GetCorners(std::uint32_t t) const
{
  std::array<trelVector, 4> corners;
  for (std::size_t k = 0; k < 4; ++k)
    corners[k] = Vertices[Tetrahedra[t][k]].Position();
  return corners;
}

double trelMCTetrahedron::ComputeVolumeOfTetrahedron(std::uint32_t t) const
{
  const auto [a, b, c, d] = GetCorners(t);
  return std::fabs(Dot(b - a, Cross(c - a, d - a))) / 6.0;
}

bool trelMCTetrahedron::ImportData(const trelMesh* mesh)
{
  return ImportMesh(dynamic_cast<const trelTetrahedron*>(mesh));
}

bool trelMCTetrahedron::ImportMesh(const trelTetrahedron* mesh)
{
  ClearMesh();
  if (!mesh || !CopySurface(*mesh) || !CopyElements(*mesh) || !BoundRegions()) {
    ClearMesh();
    return false;
  }
  SetBox();
  return true;
}

bool trelMCTetrahedron::AllocateElements(const trelTetrahedron& mesh)
{
  const std::int32_t* region = mesh.GetRegionData();
  const auto count = static_cast<std::size_t>(std::max(mesh.GetNumberOfTetrahedra(), 0));
  const bool fits = FitsInMemory([&] {
    Tetrahedra.resize(count);
    RegionOfTetrahedron.assign(region, region + count);
    FaceOwners.resize(Triangles.size());
    Regions.resize(static_cast<std::size_t>(mesh.GetNumberOfRegions()));
  });
  if (!fits) {
    ErrorMacro("memory allocate error");
    return false;
  }
  return true;
}

/** Copies tetrahedra, their regions and the owners of the triangles, if they fit together. */
bool trelMCTetrahedron::CopyElements(const trelTetrahedron& mesh)
{
  const std::int32_t regions = mesh.GetNumberOfRegions();
  const std::uint32_t* corner = mesh.GetTetrahedronData();
  const std::int32_t* owner = mesh.GetFaceOwnerData();
  if (!corner || !owner || !mesh.GetRegionData()) return false;
  if (regions < 0 || regions > trelVoxelTable::MaximumRegions) return false;
  if (!AllocateElements(mesh)) return false;
  for (auto& tetrahedron : Tetrahedra) {
    std::copy_n(corner, 4, tetrahedron.begin());
    corner += 4;
  }
  for (auto& owners : FaceOwners) {
    std::copy_n(owner, 2, owners.begin());
    owner += 2;
  }
  return AreElementsValid();
}

/** Whether all numbers of tetrahedra, vertices and regions point to something. */
bool trelMCTetrahedron::AreElementsValid() const
{
  const auto count = static_cast<std::int32_t>(Tetrahedra.size());
  for (const auto& tetrahedron : Tetrahedra)
    for (const std::uint32_t vertex : tetrahedron)
      if (vertex >= GetNumberOfVertices()) return false;
  for (const auto& owners : FaceOwners)
    if (owners[0] < 0 || owners[0] >= count || owners[1] >= count) return false;
  return std::all_of(RegionOfTetrahedron.begin(), RegionOfTetrahedron.end(),
                     [&](std::int32_t r) { return r >= 0 && r < GetNumberOfRegions(); });
}

/** Finds the box of each region; false if one has no triangle, since packets in it would never meet
 *  its boundary. */
bool trelMCTetrahedron::BoundRegions()
{
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t) {
    std::int32_t regions[2];
    GetRegionsOfTriangle(t, regions);
    for (const std::int32_t r : regions)
      if (r >= 0) ExtendBox(t, &Regions[static_cast<std::size_t>(r)].Bounds);
  }
  return std::none_of(Regions.begin(), Regions.end(),
                      [](const RegionBox& region) { return region.Bounds.IsEmpty(); });
}

void trelMCTetrahedron::GetRegionsOfTriangle(std::uint32_t t, std::int32_t regions[2]) const
{
  for (int side = 0; side < 2; ++side) {
    const std::int32_t owner = FaceOwners[t][static_cast<std::size_t>(side)];
    regions[side] = owner < 0 ? -1 : RegionOfTetrahedron[static_cast<std::size_t>(owner)];
  }
}

std::set<std::pair<std::int32_t, std::int32_t>> trelMCTetrahedron::FindTouchingRegions() const
{
  std::set<std::pair<std::int32_t, std::int32_t>> pairs;
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t) {
    std::int32_t regions[2];
    GetRegionsOfTriangle(t, regions);
    if (regions[0] >= 0 && regions[1] >= 0) pairs.insert(std::minmax(regions[0], regions[1]));
  }
  return pairs;
}

VoxelCenterRule trelMCTetrahedron::GetCenterRule() const
{
  return CenterMakesNothing;
}

void trelMCTetrahedron::OnTableBuilt(trelVoxelTable& table) const
{
  std::vector<trelBox> boxes;
  for (RegionBox& region : Regions) {
    boxes.push_back(region.Bounds);
    if (table.IsEmpty()) continue;
    region.Voxels =
        table.FindVoxelsBetween(region.Bounds.Low, region.Bounds.High, table.GetWholeRange());
  }
  table.Settle(boxes);
}

void trelMCTetrahedron::OnTableFailed() const
{
  ErrorMacro("Out of memory!\n");
}

PointRelation trelMCTetrahedron::LocatePoint(double /*x*/, double /*y*/, double /*z*/) const
{
  return PointUndetermined;
}

bool trelMCTetrahedron::IntersectRay(double /*x*/, double /*y*/, double /*z*/, double /*dx*/,
                                     double /*dy*/, double /*dz*/, double* /*distance*/,
                                     int* /*face*/, double* /*nx*/, double* /*ny*/, double* /*nz*/,
                                     int /*raySide*/) const
{
  return false;
}

bool trelMCTetrahedron::IsOutsideRegion(const trelVector& point, int region) const
{
  if (region < 0 || region >= GetNumberOfRegions()) return true;
  if (std::isnan(point.X + point.Y + point.Z)) return true;
  const trelBox& box = Regions[static_cast<std::size_t>(region)].Bounds;
  const auto isBeyond = [](double p, double low, double high) {
    return ToleranceLess(p, low) || ToleranceGreater(p, high);
  };
  return isBeyond(point.X, box.Low.X, box.High.X) || isBeyond(point.Y, box.Low.Y, box.High.Y) ||
         isBeyond(point.Z, box.Low.Z, box.High.Z);
}

/** The cell of a point beside the grid. */
static constexpr std::size_t noCell = static_cast<std::size_t>(-1);

PointRelation trelMCTetrahedron::LocatePointInRegion(double x, double y, double z, int region) const
{
  const trelVoxelTable& table = GetVoxelTable();
  std::size_t cell = noCell;
  if (table.FindCell({x, y, z}, &cell) && table.IsSettledIn(cell, region)) return PointInside;
  return LocateUnsettledPoint(x, y, z, cell, region);
}

PointRelation trelMCTetrahedron::LocateUnsettledPoint(double x, double y, double z,
                                                      std::size_t cell, int region) const
{
  if (!EnsureTable()) return PointUndetermined;
  const trelVoxelTable& table = GetVoxelTable();
  const trelVector point = {x, y, z};
  if (table.IsEmpty() || IsOutsideRegion(point, region)) return PointOutside;
  if (cell == noCell) cell = table.CellAt(point);
  const std::int16_t state = table.GetState(cell);
  if (state == region) return PointInside;
  if (state != trelVoxelTable::Surface) return PointOutside;
  return table.ClassifyPointInVoxel(x, y, z, cell, region);
}

int trelMCTetrahedron::FindRegion(const trelVector& point) const
{
  if (!EnsureTable()) return PointUndetermined;
  const trelVoxelTable& table = GetVoxelTable();
  if (table.IsEmpty()) return -1;
  // A voxel without triangles has the answer; only its region can hold the point.
  const std::int16_t state = table.GetState(table.CellAt(point));
  if (state >= 0) return IsOutsideRegion(point, state) ? -1 : state;
  if (state == trelVoxelTable::NoRegion) return -1;
  for (int region = 0; region < GetNumberOfRegions(); ++region)
    if (LocatePointInRegion(point, region) != PointOutside) return region;
  return -1;
}

int trelMCTetrahedron::FindNearestBoundaryFace(const trelRay& ray, int region,
                                               double* distance) const
{
  if (!EnsureTable() || region >= GetNumberOfRegions()) return -1;
  const trelVoxelTable& table = GetVoxelTable();
  // The side that enters would forget hits at a triangle that the packet stands on.
  const trelVoxelRange range =
      region < 0 ? table.GetWholeRange() : Regions[static_cast<std::size_t>(region)].Voxels;
  return table.FindNearest(ray, region, RayLeaves, range, distance);
}

bool trelMCTetrahedron::FindHitInRegion(const trelRay& ray, int region, trelHit* hit,
                                        int* nextRegion) const
{
  hit->Face = FindNearestBoundaryFace(ray, region, &hit->Distance);
  if (hit->Face < 0) return false;
  const trelTracedTriangle& face =
      GetVoxelTable().GetTriangle(static_cast<std::uint32_t>(hit->Face));
  hit->Normal = face.Normal;
  *nextRegion = region < 0 || face.Regions[0] != region ? face.Regions[0] : face.Regions[1];
  return true;
}

double trelMCTetrahedron::ComputeMeasure() const
{
  return ComputeVolume(-1);
}

bool trelMCTetrahedron::FindRegionCrossing(const trelRay& ray, double after, double limit,
                                           trelHit* hit, std::int32_t* behind) const
{
  return EnsureCrossings() && GetCrossings().FindCrossing(
                                  ray, after, limit, trelMeshCrossings::AllSurfaces, hit, behind);
}

/** 1 if the triangle looks away from its first tetrahedron, -1 if towards it. Of a tetrahedron
 *  without volume the second tells. */
std::int8_t trelMCTetrahedron::FindTurn(std::uint32_t t) const
{
  const trelVector corner = Vertices[Triangles[t].Vertices[0]].Position();
  for (int side = 0; side < 2; ++side) {
    const std::int32_t owner = FaceOwners[t][static_cast<std::size_t>(side)];
    if (owner < 0) break;
    double height = 0.0;  // of the corner that is not in the triangle
    for (const std::uint32_t v : Tetrahedra[static_cast<std::size_t>(owner)]) {
      if (std::count(Triangles[t].Vertices, Triangles[t].Vertices + 3, v) > 0) continue;
      height = Dot(Triangles[t].Normal, Vertices[v].Position() - corner);
    }
    if (height != 0.0) return (height < 0.0) == (side == 0) ? 1 : -1;
  }
  return 1;
}

std::vector<std::int8_t> trelMCTetrahedron::OrientTriangles(const trelMeshCrossings&) const
{
  std::vector<std::int8_t> turns(Triangles.size());
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t)
    turns[t] = FindTurn(t);
  return turns;
}

trelReportErrorMacro(trelMCTetrahedron)
