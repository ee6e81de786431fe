#ifndef trelVoxelLists_h
#define trelVoxelLists_h

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelAxisRay.h"

/** A voxel with triangles, by its ranges in two arrays of triangle numbers. */
struct VoxelCell
{
  /** Those that overlap the voxel, ascending. */
  std::uint32_t First = 0, Last = 0;
  /** Those that its parity ray may meet, each once: they overlap the voxel or one between it and
   *  the border of the grid where the ray ends. */
  std::uint32_t RowFirst = 0, RowLast = 0;
  RayAxis Axis = RayAxisXMin;
};

/** What the parity count tests first: the box of a triangle, and the regions that it bounds. */
struct trelTriangleBounds
{
  /** x, y, z, mm, rounded away from the triangle. */
  float Low[3], High[3];
  std::int16_t Regions[2];

  /** True if the triangle bounds @p region, 0 or above. */
  bool Bounds(std::int32_t region) const { return Regions[0] == region || Regions[1] == region; }
};

/**
 * What a grid stores of a mesh, by voxel.
 *
 * Each voxel has a byte that answers most questions, a state of two bytes and a list number of
 * four, in separate arrays; lists of triangles exist for surface voxels only.
 */
struct trelVoxelLists
{
  /** State of a voxel in no region, and of one with triangles. Others are numbers of regions. */
  static constexpr std::int16_t NoRegion = -1;
  static constexpr std::int16_t Surface = -2;
  /** As many regions as a state can name. */
  static constexpr std::int32_t MaximumRegions = 32767;
  /** In Settled: a region beyond the byte, or a voxel that is not wholly in one and in its box. */
  static constexpr std::uint8_t Unsettled = 255;

  /** Lists and direction of a surface voxel; for another voxel one with empty lists. */
  const VoxelCell& GetCell(std::size_t cell) const { return SurfaceVoxels[Numbers[cell]]; }
  /** The triangles of a voxel, ascending. */
  const std::uint32_t* BeginOf(std::size_t cell) const
  {
    return Entries.data() + GetCell(cell).First;
  }
  const std::uint32_t* EndOf(std::size_t cell) const { return Entries.data() + GetCell(cell).Last; }

  /** By voxel, z fastest: the region that it lies in, if that is settled. */
  std::vector<std::uint8_t> Settled;
  std::vector<std::int16_t> States;
  /** By voxel: where its lists are among the surface voxels, 0 if it has none. */
  std::vector<std::uint32_t> Numbers;
  std::vector<VoxelCell> SurfaceVoxels;
  std::vector<std::uint32_t> Entries;
  std::vector<std::uint32_t> RowEntries;
  std::vector<trelTracedTriangle> Triangles;
  std::vector<trelTriangleBounds> TriangleBounds;
};

#endif
