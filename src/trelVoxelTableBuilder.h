#ifndef trelVoxelTableBuilder_h
#define trelVoxelTableBuilder_h

#include <vector>

#include "trelVoxelGrid.h"
#include "trelVoxelLists.h"

/** What becomes of a voxel without triangles whose centre lies on one of its row: it counts as a
 *  surface voxel with an empty list, or as one outside of the regions concerned. */
enum VoxelCenterRule
{
  CenterMakesSurface,
  CenterMakesNothing
};

struct trelVoxelRow;

/**
 * @class   trelVoxelTableBuilder
 * @brief   lays a grid over triangles and finds what each voxel holds
 *
 * In five passes: the voxels that each triangle overlaps; the direction of the parity ray of each
 * surface voxel; the state of each voxel without triangles, by the crossings of its centre's ray;
 * the triangles that parity rays may meet; the boxes of the triangles. All is serial but the second
 * and the third, and no result depends on the number of threads.
 */
class trelVoxelTableBuilder
{
public:
  /** Fills @p grid and @p lists, whose triangles are there already. */
  trelVoxelTableBuilder(trelVoxelGrid* grid, trelVoxelLists* lists) : Grid(*grid), Lists(*lists) {}

  /** Covers @p bounds. False if memory runs out or the box is not finite. */
  bool Build(const trelBox& bounds, VoxelCenterRule rule, int threads);

private:
  bool RunPasses(const trelBox& bounds, VoxelCenterRule rule, int threads);
  bool AllocateVoxelTable(const trelBox& bounds);
  bool RegisterTrianglesInVoxels();
  void CollectCells(const trelTracedTriangle& triangle, std::vector<std::uint32_t>* cells) const;
  void MakeSurfaceVoxel(std::size_t cell);
  void CountEntries(const std::vector<std::uint32_t>& cells);
  void PlaceLists();
  RayAxis ChooseRayAxis(const int index[3]) const;
  void ChooseVoxelRayDirections(int threads);
  bool ClassifyEmptyVoxels(VoxelCenterRule rule, int threads);
  bool SweepRows(int j, VoxelCenterRule rule);
  bool SweepRow(int j, int k, VoxelCenterRule rule, trelVoxelRow* row);
  std::int16_t ClassifyCenter(const trelVector& center, VoxelCenterRule rule,
                              trelVoxelRow* row) const;
  bool ListRows();
  bool ListRow(RayAxis axis, const int start[3]);
  void BoundTriangles();

  std::size_t CellOf(const int index[3]) const { return Grid.CellOf(index[0], index[1], index[2]); }
  bool IsSurface(std::size_t cell) const { return Lists.States[cell] == trelVoxelLists::Surface; }

  trelVoxelGrid& Grid;
  trelVoxelLists& Lists;
};

#endif
