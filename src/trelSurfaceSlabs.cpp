#include "trelSurfaceSlabs.h"

#include <cmath>
#include <utility>

/** What a triangle parts: its two regions, whichever way it looks. */
static std::pair<std::int32_t, std::int32_t> RegionsOf(const trelTracedTriangle* triangle)
{
  return std::minmax(triangle->Regions[0], triangle->Regions[1]);
}

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
    std::stable_sort(Triangles.begin(), Triangles.end(),
                     [](const trelTracedTriangle* a, const trelTracedTriangle* b) {
                       return RegionsOf(a) < RegionsOf(b);
                     });
  }
  /** The slabs of the surfaces between two regions each. May throw. */
  std::vector<trelSurfaceSlab> MakeSlabs(double reach) const
  {
    std::vector<trelSurfaceSlab> slabs;
    for (auto first = Triangles.begin(); first != Triangles.end();) {
      const auto next = std::find_if(first, Triangles.end(), [&](const trelTracedTriangle* t) {
        return RegionsOf(t) != RegionsOf(*first);
      });
      slabs.push_back(MakeSlab(first, next, reach));
      first = next;
    }
    return slabs;
  }

private:
  void Take(std::uint32_t t)
  {
    if (t >= Seen.size()) Seen.resize(std::size_t{t} + 1, 0);
    if (Seen[t] == Round) return;
    Seen[t] = Round;
    Triangles.push_back(&Table.GetTriangle(t));
  }
  using Iterator = std::vector<const trelTracedTriangle*>::const_iterator;
  static trelVector FindMeanNormal(Iterator first, Iterator end);
  static trelSurfaceSlab MakeSlab(Iterator first, Iterator end, double reach);

  const trelVoxelTable& Table;
  std::vector<const trelTracedTriangle*> Triangles;
  std::vector<std::uint32_t> Seen;  ///< by triangle, the round that took it last
  std::uint32_t Round = 0;
};

/** Of all normals, turned to one side. */
trelVector trelNearTriangles::FindMeanNormal(Iterator first, Iterator end)
{
  trelVector sum;
  for (Iterator t = first; t != end; ++t)
    sum = Dot(sum, (*t)->Normal) < 0.0 ? sum - (*t)->Normal : sum + (*t)->Normal;
  const double length = Length(sum);
  return length > 0.0 ? sum / length : trelVector{1.0, 0.0, 0.0};
}

trelSurfaceSlab trelNearTriangles::MakeSlab(Iterator first, Iterator end, double reach)
{
  constexpr double rounding = 1e-12;
  const trelVector normal = FindMeanNormal(first, end);
  trelSurfaceSlab slab = {HUGE_VAL, -HUGE_VAL, {}, static_cast<float>(reach)};
  for (int a = 0; a < 3; ++a)
    slab.Normal[a] = static_cast<float>(normal[a]);
  double size = 0.0;
  for (Iterator t = first; t != end; ++t) {
    for (const trelVector& corner : (*t)->Corners) {
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

/** The slabs of a block of voxels. Where a surface is not flat within the longest reach, what lies
 *  nearer is looked at alone. None if there is nothing. May throw. */
static std::vector<trelSurfaceSlab> MakeSlabsOf(const int block[3], int longestReach,
                                                const trelVoxelTable& table,
                                                trelNearTriangles& near)
{
  constexpr double shortened = 1.0 - 1e-6;
  const double edge = table.GetVoxelSize();
  std::vector<trelSurfaceSlab> slabs;
  for (int reach = longestReach; reach > 0; --reach) {
    trelVoxelRange range;
    for (int a = 0; a < 3; ++a) {
      range.First[a] = std::max(2 * block[a] - reach, 0);
      range.Last[a] = std::min(2 * block[a] + 1 + reach, table.GetSize(a) - 1);
    }
    near.Collect(range);
    std::vector<trelSurfaceSlab> found = near.MakeSlabs(shortened * reach * edge);
    if (found.empty()) break;
    slabs = std::move(found);
    const auto isFlat = [&](const trelSurfaceSlab& slab) { return slab.High - slab.Low < edge; };
    if (std::all_of(slabs.begin(), slabs.end(), isFlat)) break;
  }
  return slabs;
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
  Starts.assign(1, 0);
  if (table.IsEmpty()) return;  // the mesh is flat along an axis
  trelNearTriangles near(table);
  VisitVoxels(blocks, [&](const int block[3]) {
    const std::size_t first = table.CellOf(2 * block[0], 2 * block[1], 2 * block[2]);
    if (clearance[first] > longestReach + 1) return;
    const std::vector<trelSurfaceSlab> slabs = MakeSlabsOf(block, longestReach, table, near);
    if (slabs.empty()) return;
    Places[BlockOf(block[0], block[1], block[2])] = static_cast<std::int32_t>(Starts.size()) - 1;
    Slabs.insert(Slabs.end(), slabs.begin(), slabs.end());
    Starts.push_back(static_cast<std::uint32_t>(Slabs.size()));
  });
}
