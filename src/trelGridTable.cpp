#include "trelGridTable.h"

#include <array>
#include <iterator>

// The measures. PiSingle / 180 turns degrees into radians; i is the first index of a cell, j the
// second.

/** Distance of the elliptic outline from its centre, with the argument as its parameter. */
static double Rho(const trelGridWindow& w, double angle)
{
  const double a = w.HalfAxis[0];
  const double b = w.HalfAxis[1];
  return std::sqrt(a * a * std::cos(angle) * std::cos(angle) +
                   b * b * std::sin(angle) * std::sin(angle));
}

static double LengthX(const trelGridWindow& w, int, int)
{
  return w.Bins[GridX].Separation;
}

static double LengthY(const trelGridWindow& w, int, int)
{
  return w.Bins[GridY].Separation;
}

static double AreaXY(const trelGridWindow& w, int, int)
{
  return w.Bins[GridY].Separation * w.Bins[GridX].Separation;
}

static double AreaYZ(const trelGridWindow& w, int, int)
{
  return w.Bins[GridZ].Separation * w.Bins[GridY].Separation;
}

static double AreaXZ(const trelGridWindow& w, int, int)
{
  return w.Bins[GridZ].Separation * w.Bins[GridX].Separation;
}

static double VolumeXYZ(const trelGridWindow& w, int, int)
{
  return w.Bins[GridY].Separation * w.Bins[GridX].Separation * w.Bins[GridZ].Separation;
}

/** r dr dA at the midpoint of the bin. */
static double SectorRA(const trelGridWindow& w, int i, int)
{
  return w.Bins[GridR].Midpoint(i) * w.Bins[GridR].Separation * w.Bins[GridA].Separation *
         PiSingle / 180.0;
}

static double VolumeRAZ(const trelGridWindow& w, int i, int)
{
  return w.Bins[GridR].Midpoint(i) * w.Bins[GridR].Separation * w.Bins[GridA].Separation *
         w.Bins[GridZ].Separation * PiSingle / 180.0;
}

/**
 * The sector of the time and frequency domains: the radial minimum is added to the index, before
 * the separation multiplies, and the angle is a full turn over the number of bins. Files depend on
 * it.
 */
static double SectorOfIndexRA(const trelGridWindow& w, int i, int)
{
  return (i + 0.5 + w.Bins[GridR].Minimum) * w.Bins[GridR].Separation * w.Bins[GridR].Separation *
         2.0 * PiSingle / w.Bins[GridA].Count;
}

static double VolumeOfIndexRAZ(const trelGridWindow& w, int i, int)
{
  return (i + 0.5 + w.Bins[GridR].Minimum) * w.Bins[GridR].Separation * w.Bins[GridR].Separation *
         w.Bins[GridZ].Separation * 2.0 * PiSingle / w.Bins[GridA].Count;
}

/** The arc of the elliptic outline that one azimuth bin cuts off. */
static double ArcA(const trelGridWindow& w, int i, int)
{
  return Rho(w, RadiansOfSinglePi(w.Bins[GridA].Midpoint(i))) * w.Bins[GridA].Separation *
         PiSingle / 180.0;
}

static double ArcAZ(const trelGridWindow& w, int i, int)
{
  return Rho(w, RadiansOfSinglePi(w.Bins[GridA].Midpoint(i))) * w.Bins[GridA].Separation *
         w.Bins[GridZ].Separation * PiSingle / 180.0;
}

/**
 * The arc of the time and frequency domains: a number of degrees, without the azimuth minimum, goes
 * into sine and cosine as if it were radians. Files depend on it.
 */
static double ArcOfDegreesA(const trelGridWindow& w, int i, int)
{
  const double degrees = (i + 0.5) * w.Bins[GridA].Separation;
  return w.Bins[GridA].Separation * PiSingle * Rho(w, degrees) / 180.0;
}

static double ArcOfDegreesAZ(const trelGridWindow& w, int i, int)
{
  return w.Bins[GridZ].Separation * ArcOfDegreesA(w, i, 0);
}

/** As ArcOfDegreesA; MultipliesBySeparationZ() says what becomes of the separation along z. */
static double ArcOfDegreesPerZ(const trelGridWindow& w, int i, int)
{
  return ArcOfDegreesA(w, i, 0);
}

/** R^2 sin(D) dD dA with R the length of (a sinD cosA, b sinD sinA, c cosD); i is the row as
 * stored. */
static double AreaDA(const trelGridWindow& w, int i, int j)
{
  const double phi = RadiansOfSinglePi(w.Bins[GridD].Midpoint(i));
  const double theta = RadiansOfSinglePi(w.Bins[GridA].Midpoint(j));
  const double x = w.HalfAxis[0] * std::sin(phi) * std::cos(theta);
  const double y = w.HalfAxis[1] * std::sin(phi) * std::sin(theta);
  const double z = w.HalfAxis[2] * std::cos(phi);
  const double radius = std::sqrt(x * x + y * y + z * z);
  return radius * radius * std::sin(phi) * RadiansOfSinglePi(w.Bins[GridD].Separation) *
         RadiansOfSinglePi(w.Bins[GridA].Separation);
}

/** The axes of a grid and the functions that find a cell along them. */
struct trelGridAxes
{
  int Number;
  trelGridAxis Axes[3];
  bool (*Locate)(const trelGridWindow&, const double[3], std::size_t*);
  bool (*LocateExactly)(const trelGridWindow&, const double[3], std::size_t*);
};

template <trelGridAxis... axes>
static constexpr trelGridAxes MakeAxes()
{
  constexpr std::array<trelGridAxis, sizeof...(axes)> list{axes...};
  trelGridAxes made{static_cast<int>(list.size()), {GridX, GridX, GridX}, nullptr, nullptr};
  for (std::size_t k = 0; k < list.size(); ++k)
    made.Axes[k] = list[k];
  if constexpr (list[0] == GridD) {
    made.Locate = &LocateCellDA;
    made.LocateExactly = &LocateCellDAExactly;
  } else if constexpr (list[0] < GridMeshFace) {
    made.Locate = &LocateCell<axes...>;
    made.LocateExactly = &LocateCellExactly<axes...>;
  }
  return made;
}

static constexpr trelGridDescription MakeRow(const char* name, trelGridKind kind, int dimension,
                                             const char* surface, trelGridTotal total,
                                             trelGridAxes axes, trelCellMeasure cw,
                                             trelCellMeasure td, trelCellMeasure fd)
{
  return {name,
          kind,
          dimension,
          surface,
          total,
          axes.Number,
          {axes.Axes[0], axes.Axes[1], axes.Axes[2]},
          axes.Locate,
          axes.LocateExactly,
          cw,
          td,
          fd};
}

#define TREL_UNPACK(...) __VA_ARGS__
#define TREL_ABSORPTION_ROW(name, dimension, surface, total, axes, cw, td, fd)                    \
  MakeRow(#name, GridAbsorption, dimension, surface, total, MakeAxes<TREL_UNPACK axes>(), cw, td, \
          fd),
#define TREL_ELEMENT_ROW(name, dimension, surface, total, axes, cw, td, fd)                      \
  MakeRow(#name, GridElementAbsorption, dimension, surface, total, MakeAxes<TREL_UNPACK axes>(), \
          cw, td, fd),
#define TREL_TRANSMITTANCE_ROW(name, dimension, surface, total, axes, cw, td, fd)                \
  MakeRow(#name, GridTransmittance, dimension, surface, total, MakeAxes<TREL_UNPACK axes>(), cw, \
          td, fd),

static constexpr trelGridDescription GridTable[NumberOfGrids] = {
    TREL_ABSORPTION_GRIDS(TREL_ABSORPTION_ROW) TREL_TRANSMITTANCE_GRIDS(TREL_TRANSMITTANCE_ROW)
        TREL_MESH_GRIDS(TREL_TRANSMITTANCE_ROW) TREL_ELEMENT_GRIDS(TREL_ELEMENT_ROW)};

const trelGridDescription& GetGridDescription(trelGridId grid)
{
  return GridTable[grid];
}

static trelGridIds FindGridIds(trelGridKind kind)
{
  trelGridIds ids;
  for (int id = 0; id < NumberOfGrids; ++id) {
    if (GridTable[id].Kind == kind) ids.Ids[ids.Number++] = static_cast<trelGridId>(id);
  }
  return ids;
}

const trelGridIds& GetGridIds(trelGridKind kind)
{
  static const trelGridIds ids[] = {FindGridIds(GridAbsorption), FindGridIds(GridTransmittance),
                                    FindGridIds(GridElementAbsorption)};
  return ids[kind];
}

trelCellMeasure GetCellMeasure(trelGridId grid, trelGridDomain domain)
{
  const trelGridDescription& row = GridTable[grid];
  if (domain == GridCW) return row.MeasureCW;
  return domain == GridTD ? row.MeasureTD : row.MeasureFD;
}

bool MultipliesBySeparationZ(trelGridId grid, trelGridDomain domain)
{
  return domain == GridTD && GridTable[grid].MeasureTD == &ArcOfDegreesPerZ;
}

/** The letters of the axes in labels and counts. */
static constexpr char AxisLetters[] = "XYZRAD";

std::string trelGridDescription::GetSuffix() const
{
  std::string suffix = Surface;
  for (int k = 0; k < NumberOfAxes; ++k)
    suffix += AxisLetters[Axes[k]];
  return suffix;
}

std::string trelGridDescription::GetCountsLiteral() const
{
  std::string literal;
  for (int k = 0; k < NumberOfAxes; ++k)
    literal += std::string("Count") + AxisLetters[Axes[k]] + " ";
  return literal;
}

/** Which grid takes what is scored at a place in cells of a coordinate type. */
struct trelGridPlace
{
  trelFacePlace Place;
  CoordinateType Coordinate;
  trelGridId Grid;
};

// A grid belongs to the shapes of its own dimension.
static constexpr trelGridPlace GridPlaces[] = {
    {PlaceVolume, CoordinatePolar, AbsorptionRA},
    {PlaceVolume, CoordinateCartesian, AbsorptionXY},
    {PlaceVolume, CoordinateCartesian, AbsorptionXYZ},
    {PlaceVolume, CoordinateCylindrical, AbsorptionRAZ},
    {PlaceYMax, CoordinateCartesian, TransmittanceUp},
    {PlaceYMin, CoordinateCartesian, TransmittanceDown},
    {PlaceXMin, CoordinateCartesian, TransmittanceLeft},
    {PlaceXMax, CoordinateCartesian, TransmittanceRight},
    {PlaceAllRound, CoordinatePolar, TransmittanceSide},
    {PlaceAllRound, CoordinateSpherical, TransmittanceSideDA},
    {PlaceAroundZ, CoordinateCylindrical, TransmittanceSideAZ},
    {PlaceAroundZ, CoordinateCartesian, TransmittanceSideAZ},
    {PlaceZMax, CoordinateCylindrical, TransmittanceTopRA},
    {PlaceZMin, CoordinateCylindrical, TransmittanceBottomRA},
    {PlaceZMax, CoordinateCartesian, TransmittanceTopXY},
    {PlaceZMin, CoordinateCartesian, TransmittanceBottomXY},
    {PlaceXMax, CoordinateCartesian, TransmittanceFrontYZ},
    {PlaceXMin, CoordinateCartesian, TransmittanceBackYZ},
    {PlaceYMin, CoordinateCartesian, TransmittanceLeftXZ},
    {PlaceYMax, CoordinateCartesian, TransmittanceRightXZ},
    {PlaceTriangles, CoordinateCartesian, TransmittanceMeshFace},
    {PlaceTriangles, CoordinateCartesian, TransmittanceMeshVertex},
};

/** Adds the grids of @p dimension that take what is scored at @p use's face, which lies at @p
 * place.
 */
static void AddUses(trelFacePlace place, CoordinateType coordinate, int dimension, trelGridUse use,
                    trelGridUses& uses)
{
  for (const trelGridPlace& row : GridPlaces) {
    if (row.Place != place || row.Coordinate != coordinate) continue;
    if (GridTable[row.Grid].Dimension != dimension) continue;
    use.Grid = row.Grid;
    uses.Add(use);
  }
}

trelGridUses GetAbsorptionUses(ShapeType shape, CoordinateType coordinate)
{
  trelGridUses uses;
  AddUses(PlaceVolume, coordinate, GetShapeTraits(shape).Dimension, {}, uses);
  return uses;
}

trelGridUses GetTransmittanceUses(ShapeType shape, CoordinateType coordinate)
{
  const trelShapeTraits& traits = GetShapeTraits(shape);
  trelGridUses uses;
  if (!traits.Admits(coordinate)) return uses;
  const bool isNumbered = traits.GetNumberOfFaces() > 1;
  int number = 0;
  for (const trelShapeFace& face : traits) {
    const trelGridUse use = {isNumbered ? number++ : AnyFace, NumberOfGrids, face.Flag};
    AddUses(face.Place, coordinate, traits.Dimension, use, uses);
  }
  return uses;
}
