#include "trelSurfaceSlabs.h"

#include <cmath>

/** The triangles of a range of voxels, each once. */
class trelNearTriangles
{
public:
  explicit trelNearTriangles(const trelVoxelTable& table) : Table(table) {}

  void Collect(const trelVoxelRange& range)
  {
    ++Round;
    Triangles.clear();
    VisitVoxels(range, [&](const int index[3]) {
      const std::size_t cell = Table.CellOf(index[0], index[1], index[2]);
      for (const std::uint32_t* t = Table.BeginOf(cell); t < Table.EndOf(cell); ++t)
        Take(*t);
    });
  }
  bool IsEmpty() const { return Triangles.empty(); }
  trelSurfaceSlab MakeSlab(double reach) const;

private:
  void Take(std::uint32_t t)
  {
    if (t >= Seen.size()) Seen.resize(std::size_t{t} + 1, 0);
    if (Seen[t] == Round) return;
    Seen[t] = Round;
    Triangles.push_back(&Table.GetTriangle(t));
  }
  trelVector FindMeanNormal() const;

  const trelVoxelTable& Table;
  std::vector<const trelTracedTriangle*> Triangles;
  std::vector<std::uint32_t> Seen;  ///< by triangle, the round that took it last
  std::uint32_t Round = 0;
};

/** Of all normals, turned to one side. */
trelVector trelNearTriangles::FindMeanNormal() const
{
  trelVector sum;
  for (const trelTracedTriangle* triangle : Triangles)
    sum = Dot(sum, triangle->Normal) < 0.0 ? sum - triangle->Normal : sum + triangle->Normal;
  const double length = Length(sum);
  return length > 0.0 ? sum / length : trelVector{1.0, 0.0, 0.0};
}

trelSurfaceSlab trelNearTriangles::MakeSlab(double reach) const
{
  constexpr double rounding = 1e-12;
  const trelVector normal = FindMeanNormal();
  trelSurfaceSlab slab = {HUGE_VAL, -HUGE_VAL, {}, static_cast<float>(reach)};
  for (int a = 0; a < 3; ++a)
    slab.Normal[a] = static_cast<float>(normal[a]);
  double size = 0.0;
  for (const trelTracedTriangle* triangle : Triangles) {
    for (const trelVector& corner : triangle->Corners) {
      const double height = slab.HeightOf(corner);
      slab.Low = std::min(slab.Low, height);
      slab.High = std::max(slab.High, height);
      size = std::max({size, std::fabs(corner.X), std::fabs(corner.Y), std::fabs(corner.Z)});
    }
  }
  slab.Low -= rounding * size;
  slab.High += rounding * size;
  return slab;
}

/** The slab of a block of voxels. Where the surface is not flat within the longest reach, what lies
 *  nearer is looked at alone. Of no reach if there is nothing. */
static trelSurfaceSlab MakeSlabOf(const int block[3], int longestReach, const trelVoxelTable& table,
                                  trelNearTriangles& near)
{
  constexpr double shortened = 1.0 - 1e-6;
  const double edge = table.GetVoxelSize();
  trelSurfaceSlab slab = {};
  for (int reach = longestReach; reach > 0; --reach) {
    trelVoxelRange range;
    for (int a = 0; a < 3; ++a) {
      range.First[a] = std::max(2 * block[a] - reach, 0);
      range.Last[a] = std::min(2 * block[a] + 1 + reach, table.GetSize(a) - 1);
    }
    near.Collect(range);
    if (near.IsEmpty()) break;
    slab = near.MakeSlab(shortened * reach * edge);
    if (slab.High - slab.Low < edge) break;
  }
  return slab;
}

void trelSurfaceSlabs::Build(const trelVoxelTable& table,
                             const std::vector<std::uint8_t>& clearance)
{
  constexpr int longestReach = 2;
  trelVoxelRange blocks = {{0, 0, 0}, {}};
  for (int a = 0; a < 3; ++a)
    blocks.Last[a] = (table.GetSize(a) - 1) / 2;
  Rows = static_cast<std::size_t>(blocks.Last[1]) + 1;
  Columns = static_cast<std::size_t>(blocks.Last[2]) + 1;
  Places.assign((static_cast<std::size_t>(blocks.Last[0]) + 1) * Rows * Columns, -1);
  Slabs.clear();
  trelNearTriangles near(table);
  VisitVoxels(blocks, [&](const int block[3]) {
    const std::size_t first = table.CellOf(2 * block[0], 2 * block[1], 2 * block[2]);
    if (clearance[first] > longestReach + 1) return;
    const trelSurfaceSlab slab = MakeSlabOf(block, longestReach, table, near);
    if (!(slab.Reach > 0.0f)) return;
    Places[BlockOf(block[0], block[1], block[2])] = static_cast<std::int32_t>(Slabs.size());
    Slabs.push_back(slab);
  });
}
