#ifndef trelGridTable_h
#define trelGridTable_h

#include <string>
#include <vector>

#include "trelGridWindow.h"
#include "trelModelTypes.h"
#include "trelShapeTraits.h"

/**
 * @file trelGridTable.h
 * The table of the grids of the results, in rows by what they collect. Allocation, scoring, sums,
 * measures, fluence, ranges and the result files walk it.
 *
 * A row is GRID(name, dimension, surface, total, axes, CW, TD, FD):
 * - name: of the grid; getters and the enumerator carry it. Rows stand in the order of the files.
 * - dimension: 2 or 3, of the models that have this grid.
 * - surface: as the files call it; empty for absorption. With the letters of the axes behind it, it
 * is the ending of the grid's labels ("SideAZ").
 * - total: which total its cells are summed into.
 * - axes: one to three; the first is the outermost index.
 * - CW, TD, FD: the measure of a cell in each domain, a function of trelGridTable.cpp.
 */
#define TREL_ABSORPTION_GRIDS(GRID)                                                            \
  GRID(AbsorptionXY, 2, "", TotalOfAbsorption2D, (GridX, GridY), AreaXY, AreaXY, AreaXY)       \
  GRID(AbsorptionRA, 2, "", TotalOfAbsorption2D, (GridR, GridA), SectorRA, SectorOfIndexRA,    \
       SectorOfIndexRA)                                                                        \
  GRID(AbsorptionXYZ, 3, "", TotalOfAbsorption3D, (GridX, GridY, GridZ), VolumeXYZ, VolumeXYZ, \
       VolumeXYZ)                                                                              \
  GRID(AbsorptionRAZ, 3, "", TotalOfAbsorption3D, (GridR, GridA, GridZ), VolumeRAZ,            \
       VolumeOfIndexRAZ, VolumeOfIndexRAZ)

/** Of the surfaces of shapes other than meshes. */
#define TREL_TRANSMITTANCE_GRIDS(GRID)                                                            \
  GRID(TransmittanceSide, 2, "Side", TotalOfSide2D, (GridA), ArcA, ArcOfDegreesA, ArcOfDegreesA)  \
  GRID(TransmittanceUp, 2, "Up", TotalOfUp, (GridX), LengthX, LengthX, LengthX)                   \
  GRID(TransmittanceDown, 2, "Down", TotalOfDown, (GridX), LengthX, LengthX, LengthX)             \
  GRID(TransmittanceLeft, 2, "Left", TotalOfLeft2D, (GridY), LengthY, LengthY, LengthY)           \
  GRID(TransmittanceRight, 2, "Right", TotalOfRight2D, (GridY), LengthY, LengthY, LengthY)        \
  GRID(TransmittanceSideAZ, 3, "Side", TotalOfSide3D, (GridA, GridZ), ArcAZ, ArcOfDegreesPerZ,    \
       ArcOfDegreesAZ)                                                                            \
  GRID(TransmittanceSideDA, 3, "Side", TotalOfSide3D, (GridD, GridA), AreaDA, AreaDA, AreaDA)     \
  GRID(TransmittanceTopRA, 3, "Top", TotalOfTop, (GridR, GridA), SectorRA, SectorRA, SectorRA)    \
  GRID(TransmittanceBottomRA, 3, "Bottom", TotalOfBottom, (GridR, GridA), SectorRA, SectorRA,     \
       SectorRA)                                                                                  \
  GRID(TransmittanceTopXY, 3, "Top", TotalOfTop, (GridX, GridY), AreaXY, AreaXY, AreaXY)          \
  GRID(TransmittanceBottomXY, 3, "Bottom", TotalOfBottom, (GridX, GridY), AreaXY, AreaXY, AreaXY) \
  GRID(TransmittanceFrontYZ, 3, "Front", TotalOfFront, (GridY, GridZ), AreaYZ, AreaYZ, AreaYZ)    \
  GRID(TransmittanceBackYZ, 3, "Back", TotalOfBack, (GridY, GridZ), AreaYZ, AreaYZ, AreaYZ)       \
  GRID(TransmittanceLeftXZ, 3, "Left", TotalOfLeft3D, (GridX, GridZ), AreaXZ, AreaXZ, AreaXZ)     \
  GRID(TransmittanceRightXZ, 3, "Right", TotalOfRight3D, (GridX, GridZ), AreaXZ, AreaXZ, AreaXZ)

/** The two grids of a mesh, whose cells are faces and vertices and are settled together. */
#define TREL_MESH_GRIDS(GRID)                                                                    \
  GRID(TransmittanceMeshFace, 3, "Mesh", TotalOfMesh, (GridMeshFace), nullptr, nullptr, nullptr) \
  GRID(TransmittanceMeshVertex, 3, "Mesh", TotalOfNothing, (GridMeshVertex), nullptr, nullptr,   \
       nullptr)

/** Of the tetrahedra of a mesh, under the exact rules: what the absorption grids have of cells. */
#define TREL_ELEMENT_GRIDS(GRID) \
  GRID(AbsorptionElement, 3, "", TotalOfNothing, (GridElement), nullptr, nullptr, nullptr)

/** The whole table. */
#define TREL_ALL_GRIDS(GRID)     \
  TREL_ABSORPTION_GRIDS(GRID)    \
  TREL_TRANSMITTANCE_GRIDS(GRID) \
  TREL_MESH_GRIDS(GRID)          \
  TREL_ELEMENT_GRIDS(GRID)

#define TREL_GRID_ENUMERATOR(name, ...) name,
/** The grids, by the names of their rows. */
enum trelGridId
{
  TREL_ALL_GRIDS(TREL_GRID_ENUMERATOR) NumberOfGrids
};
#undef TREL_GRID_ENUMERATOR

/** What a grid collects. */
enum trelGridKind
{
  GridAbsorption,
  GridTransmittance,
  GridElementAbsorption,
  NumberOfGridKinds
};

/** The surfaces that have a total, in the order in which these are added up. */
#define TREL_SURFACE_TOTALS_2D(TOTAL) \
  TOTAL(Side2D) TOTAL(Up) TOTAL(Down) TOTAL(Left2D) TOTAL(Right2D)
#define TREL_SURFACE_TOTALS_3D(TOTAL) TREL_OUTLINE_TOTALS(TOTAL) TREL_BOX_TOTALS(TOTAL) TOTAL(Mesh)
#define TREL_OUTLINE_TOTALS(TOTAL) TOTAL(Side3D) TOTAL(Top) TOTAL(Bottom)
#define TREL_BOX_TOTALS(TOTAL) TOTAL(Front) TOTAL(Back) TOTAL(Left3D) TOTAL(Right3D)

#define TREL_TOTAL_ENUMERATOR(name) TotalOf##name,
/** The totals that cells are summed into: one for each surface, then four over all. */
enum trelGridTotal
{
  TREL_SURFACE_TOTALS_2D(TREL_TOTAL_ENUMERATOR) TREL_SURFACE_TOTALS_3D(TREL_TOTAL_ENUMERATOR)
      NumberOfSurfaceTotals,
  TotalOfTransmittance2D = NumberOfSurfaceTotals,
  TotalOfTransmittance3D,
  TotalOfAbsorption2D,
  TotalOfAbsorption3D,
  NumberOfTotals,
  TotalOfNothing = NumberOfTotals
};
#undef TREL_TOTAL_ENUMERATOR
/** The four over all. */
constexpr int NumberOfOverallTotals = NumberOfTotals - NumberOfSurfaceTotals;

/** What the sums of a grid's total are summed into in turn; the total itself if there is nothing
 *  above it. */
inline trelGridTotal GetOverallTotal(trelGridTotal total)
{
  if (total >= NumberOfSurfaceTotals) return total;
  return total < TotalOfSide3D ? TotalOfTransmittance2D : TotalOfTransmittance3D;
}

/** What the grids collect whose cells are summed into @p total. */
inline trelGridKind GetTotalKind(trelGridTotal total)
{
  return total < TotalOfAbsorption2D ? GridTransmittance : GridAbsorption;
}

/** The dimension, 2 or 3, of one of the four totals over all. */
inline int GetTotalDimension(trelGridTotal overall)
{
  return overall == TotalOfTransmittance2D || overall == TotalOfAbsorption2D ? 2 : 3;
}

/** The sets of grids of a medium record: one for each domain, four in the frequency domain. */
enum trelGridDomain
{
  GridCW,
  GridTD,
  GridFDReal,
  GridFDImag,
  GridFDAmp,
  GridFDPha,
  NumberOfGridDomains
};

/** Those whose cells are sums of weight. */
inline constexpr trelGridDomain SummedDomains[] = {GridCW, GridTD, GridFDReal, GridFDImag};

/**
 * The measure of a cell (length, area or volume, mm, mm^2, mm^3) by its first two indices: what its
 * sum is divided by.
 */
using trelCellMeasure = double (*)(const trelGridWindow& window, int i, int j);

/** One row of the table. */
struct trelGridDescription
{
  const char* Name;
  trelGridKind Kind;
  int Dimension;
  const char* Surface;
  trelGridTotal Total;
  int NumberOfAxes;
  trelGridAxis Axes[3];
  /** The cell of a point; null for the mesh grids, whose cell is the face that was hit. */
  bool (*Locate)(const trelGridWindow& window, const double position[3], std::size_t* cell);
  /** The same by the exact rules. */
  bool (*LocateExactly)(const trelGridWindow& window, const double position[3], std::size_t* cell);
  trelCellMeasure MeasureCW;
  trelCellMeasure MeasureTD;
  trelCellMeasure MeasureFD;

  /** The ending of the labels: "XYZ", "SideAZ", "UpX". */
  std::string GetSuffix() const;
  /** "CountA CountZ ". */
  std::string GetCountsLiteral() const;
};

/** The row of @p grid, which must be below NumberOfGrids. */
const trelGridDescription& GetGridDescription(trelGridId grid);

/** A list of grids that needs no memory: destructors walk it. */
struct trelGridIds
{
  trelGridId Ids[NumberOfGrids] = {};
  int Number = 0;

  /** For loops over the first Number entries. */
  const trelGridId* begin() const { return Ids; }
  const trelGridId* end() const { return Ids + Number; }
};

/** The grids of @p kind in the order of the table. */
const trelGridIds& GetGridIds(trelGridKind kind);
/** The measure of a cell of @p grid in @p domain; null for the grids of a mesh. */
trelCellMeasure GetCellMeasure(trelGridId grid, trelGridDomain domain);

/** True for the time-domain grid of a cylinder's side, whose cells are multiplied by the separation
 *  along z where those of the other domains are divided by it. Files depend on it. */
bool MultipliesBySeparationZ(trelGridId grid, trelGridDomain domain);

/** Stands for every face of a shape whose IntersectRay() numbers none. */
constexpr int AnyFace = -1;

/** Which grid takes the absorption in a medium, or the weight that leaves through a face of it. */
struct trelGridUse
{
  int Face = AnyFace;  ///< as IntersectRay() numbers it
  trelGridId Grid = NumberOfGrids;
  trelSaveFlag Save = SaveAlways;
};

/** The grids of a shape and a coordinate type; empty if the pair is not served. */
struct trelGridUses
{
  trelGridUse Uses[MaximumNumberOfFaces];
  int Number = 0;

  /** For loops over the first Number entries. */
  const trelGridUse* begin() const { return Uses; }
  const trelGridUse* end() const { return Uses + Number; }
  bool IsEmpty() const { return Number == 0; }
  void Add(const trelGridUse& use) { Uses[Number++] = use; }
};

/** One grid takes the absorption; of the transmittance one for each face, two for a mesh. */
trelGridUses GetAbsorptionUses(ShapeType shape, CoordinateType coordinate);
trelGridUses GetTransmittanceUses(ShapeType shape, CoordinateType coordinate);

#endif
