#include "trelLightSource.h"

#include <algorithm>
#include <cmath>

#include "trelLaunchContext.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelObjectDisplay.h"
#include "trelPhoton.h"
#include "trelShapeObject.h"
#include "trelSpectrum.h"
#include "trelTraceableMesh.h"

/** How often a point is drawn, or a position moved, before the launch counts as failed. A ball
 * takes two draws on average; a shape that no draw ever hits would keep the thread for good. */
static constexpr int maximumAttempts = 10000;

static const trelDisplayGroup sourceGroups[trelObjectDisplay::NumberOfGroups] = {
    {1.0f, 0.0f, 0.0f, 1.0f, true, true},
    {0.714f, 0.143f, 0.143f, 0.1f, true, false},
    {0.714f, 0.143f, 0.143f, 0.3f, true, false},
    {1.0f, 1.0f, 1.0f, 0.2f, false, false}};

static double RadiansFromDegrees(double degrees)
{
  return degrees / 180.0 * Pi;
}

trelLightSource::trelLightSource()
    : Spectra(new trelList), Display(new trelObjectDisplay(sourceGroups))
{
  Display->Register();
}

trelLightSource::~trelLightSource()
{
  trelLightSource::ClearModel();
}

void trelLightSource::ClearModel()
{
  ReleaseReference(Shape);
  ReleaseList<trelSpectrum>(Spectra, &trelObject::UnRegister);
  ReleaseReference(Display);
}

void trelLightSource::SetShape(trelShapeObject* shape)
{
  ReplaceReference(Shape, shape);
}

void trelLightSource::SetSpectra(trelList* spectra)
{
  if (spectra == Spectra) return;
  ReleaseList<trelSpectrum>(Spectra, &trelObject::UnRegister);
  Spectra = spectra;
}

std::int32_t trelLightSource::GetNumberOfSpectra() const
{
  return Spectra ? Spectra->GetNumberOfItems() : 0;
}

trelSpectrum* trelLightSource::GetSpectrum(int i) const
{
  return Spectra ? Spectra->GetItem<trelSpectrum>(i) : nullptr;
}

std::uint32_t trelLightSource::GetNumberOfPhotonsAt(std::uint32_t wavelength) const
{
  std::uint32_t number = 0;
  if (!Spectra) return number;
  Spectra->InitTraversal();
  while (const auto* spectrum = static_cast<trelSpectrum*>(Spectra->GetNextItem())) {
    if (spectrum->GetWavelength() == wavelength) number = spectrum->GetPhotonNumber();
  }
  return number;
}

std::uint64_t trelLightSource::ComputePhotonTotal()
{
  PhotonTotal = 0;
  if (!Spectra) return PhotonTotal;
  Spectra->InitTraversal();
  while (const auto* spectrum = static_cast<trelSpectrum*>(Spectra->GetNextItem())) {
    PhotonTotal += spectrum->GetPhotonNumber();
  }
  return PhotonTotal;
}

void trelLightSource::SetAzimuthRange(double min, double max)
{
  AzimuthMin = RadiansFromDegrees(min);
  AzimuthMax = RadiansFromDegrees(max);
}

void trelLightSource::GetAzimuthRange(double* min, double* max) const
{
  *min = AzimuthMin;
  *max = AzimuthMax;
}

void trelLightSource::SetDeflectionRange(double min, double max)
{
  DeflectionMin = RadiansFromDegrees(min);
  DeflectionMax = RadiansFromDegrees(max);
}

void trelLightSource::GetDeflectionRange(double* min, double* max) const
{
  *min = DeflectionMin;
  *max = DeflectionMax;
}

bool trelLightSource::LaunchPhoton(trelLaunchContext* monteCarlo, trelPhoton* photon,
                                   trelSpectrum* spectrum) const
{
  photon->ResetPhoton();
  if (!SampleDirection(monteCarlo, photon)) return false;
  if (!SampleStartPosition(monteCarlo, photon)) return false;
  InitializePhoton(monteCarlo, photon, spectrum);
  return true;
}

bool trelLightSource::SampleDirection(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  if (!Shape || Shape->GetShapeType() > ShapeCube) return false;
  const double azimuth = AzimuthMin + monteCarlo->NextRandom() * (AzimuthMax - AzimuthMin);
  if (Shape->GetShapeType() < ShapeEllipsoid) {
    photon->DirectionX = std::cos(azimuth);
    photon->DirectionY = std::sin(azimuth);
    photon->DirectionZ = 0.0;
    return true;
  }
  const double deflection =
      DeflectionMin + monteCarlo->NextRandom() * (DeflectionMax - DeflectionMin);
  photon->DirectionX = std::cos(azimuth) * std::sin(deflection);
  photon->DirectionY = std::sin(azimuth) * std::sin(deflection);
  photon->DirectionZ = std::cos(deflection);
  return true;
}

bool trelLightSource::SampleStartPosition(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  if (LuminousType == LuminousEmission || !Launchable) return false;
  if (LuminousType != LuminousBioluminescence && !Internal) {
    return SampleExternalEntry(monteCarlo, photon);
  }
  return Solid ? SampleVolume(monteCarlo, photon) : SampleSurface(monteCarlo, photon);
}

/** Puts the packet at @p offset from the centre of the shape; planar shapes lie at z = 0. */
static void SetPosition(trelPhoton* photon, const trelShapeObject& shape, const double offset[3])
{
  double center[3];
  shape.GetCenter(center);
  photon->PositionX = center[0] + offset[0];
  photon->PositionY = center[1] + offset[1];
  photon->PositionZ = shape.GetShapeType() < ShapeEllipsoid ? 0.0 : center[2] + offset[2];
}

static PointRelation LocatePhoton(const trelShapeObject& shape, const trelPhoton& photon)
{
  return shape.LocatePoint(photon.PositionX, photon.PositionY, photon.PositionZ);
}

/** Moves the packet along its direction, backwards for a negative distance. */
static void MovePhoton(trelPhoton* photon, double distance)
{
  photon->PositionX += distance * photon->DirectionX;
  photon->PositionY += distance * photon->DirectionY;
  photon->PositionZ += distance * photon->DirectionZ;
}

/** A coordinate between -halfAxis and halfAxis. */
static double DrawWithin(trelLaunchContext* monteCarlo, double halfAxis)
{
  return (2.0 * monteCarlo->NextRandom() - 1.0) * halfAxis;
}

/** The coordinate of one of the two sides at -halfAxis and halfAxis. */
static double DrawSide(trelLaunchContext* monteCarlo, double halfAxis)
{
  return monteCarlo->NextRandom() < 0.5 ? halfAxis : -halfAxis;
}

/** How wide an ellipse still is, relative to its width, at the coordinate @p d of the half-axis
 *  @p halfAxis: sqrt(1 - d^2 / a^2). 0 where rounding takes the difference below 0. */
static double RelativeChord(double d, double halfAxis)
{
  return std::sqrt(std::max(0.0, 1.0 - d * d / (halfAxis * halfAxis)));
}

/** A curved shape holds no point if a half-axis that its equation divides by is 0; there is no use
 *  in drawing any. A cylinder of no height is a disc and has its points. */
static bool IsFlatAndCurved(const trelShapeObject& shape, const double axis[3])
{
  const ShapeType type = shape.GetShapeType();
  if (type != ShapeEllipse && type != ShapeEllipsoid && type != ShapeCylinder) return false;
  return axis[0] == 0.0 || axis[1] == 0.0 || (type == ShapeEllipsoid && axis[2] == 0.0);
}

bool trelLightSource::SampleVolume(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  if (!Shape || Shape->IsEmpty() || Shape->GetShapeType() > ShapeCube) return false;
  const int dimensions = Shape->GetShapeType() < ShapeEllipsoid ? 2 : 3;
  double axis[3];
  Shape->GetHalfAxes(&axis[0], &axis[1], &axis[2]);
  if (IsFlatAndCurved(*Shape, axis)) return false;
  for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
    double offset[3] = {0.0, 0.0, 0.0};
    for (int i = 0; i < dimensions; ++i)
      offset[i] = DrawWithin(monteCarlo, axis[i]);
    SetPosition(photon, *Shape, offset);
    if (LocatePhoton(*Shape, *photon) != PointOutside) return true;
  }
  return false;
}

/** An edge of a rectangle; each is as likely as the others whatever its length. */
static void SampleRectangleEdge(trelLaunchContext* monteCarlo, const double axis[3],
                                double offset[3])
{
  const int across = monteCarlo->NextRandom() < 0.5 ? 0 : 1;
  const int along = 1 - across;
  offset[across] = DrawSide(monteCarlo, axis[across]);
  offset[along] = DrawWithin(monteCarlo, axis[along]);
}

/** The outline of an ellipse: one coordinate uniform, the other on the curve on either side. */
static void SampleOutline(trelLaunchContext* monteCarlo, const double axis[3], double offset[3])
{
  const int uniform = monteCarlo->NextRandom() < 0.5 ? 0 : 1;
  const int other = 1 - uniform;
  const double side = DrawSide(monteCarlo, axis[other]);
  offset[uniform] = DrawWithin(monteCarlo, axis[uniform]);
  offset[other] = side * RelativeChord(offset[uniform], axis[uniform]);
}

static void SampleEllipsoidSurface(trelLaunchContext* monteCarlo, const double axis[3],
                                   double offset[3])
{
  const double side = DrawSide(monteCarlo, axis[2]);
  offset[0] = DrawWithin(monteCarlo, axis[0]);
  offset[1] = DrawWithin(monteCarlo, axis[1]) * RelativeChord(offset[0], axis[0]);
  const double x = offset[0] / axis[0];
  const double y = offset[1] / axis[1];
  offset[2] = side * std::sqrt(std::max(0.0, 1.0 - x * x - y * y));
}

/** A cap of a cylinder: one coordinate uniform, the other within the chord there. */
static void SampleCylinderCap(trelLaunchContext* monteCarlo, const double axis[3], double offset[3])
{
  const int uniform = monteCarlo->NextRandom() < 0.5 ? 0 : 1;
  const int other = 1 - uniform;
  offset[2] = DrawSide(monteCarlo, axis[2]);
  offset[uniform] = DrawWithin(monteCarlo, axis[uniform]);
  offset[other] =
      DrawWithin(monteCarlo, axis[other]) * RelativeChord(offset[uniform], axis[uniform]);
}

/** Caps and side of a cylinder, half of the packets each. */
static void SampleCylinderSurface(trelLaunchContext* monteCarlo, const double axis[3],
                                  double offset[3])
{
  if (monteCarlo->NextRandom() < 0.5) {
    SampleCylinderCap(monteCarlo, axis, offset);
  } else {
    SampleOutline(monteCarlo, axis, offset);
    offset[2] = DrawWithin(monteCarlo, axis[2]);
  }
}

/** The two faces of a cube across z. The first number is drawn and not used, and the faces across x
 *  and y never emit: streams and results depend on both. */
static void SampleCubeFace(trelLaunchContext* monteCarlo, const double axis[3], double offset[3])
{
  monteCarlo->NextRandom();
  offset[2] = DrawSide(monteCarlo, axis[2]);
  offset[0] = DrawWithin(monteCarlo, axis[0]);
  offset[1] = DrawWithin(monteCarlo, axis[1]);
}

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

/** A point on the surface of a triangle mesh: three numbers for a face and x and y in its box,
 *  drawn anew until the point lies in the face; z follows from the plane. All faces are drawn
 *  equally often, but small and slanted ones fail more often. Upright faces never emit. */
static bool SampleTriangleMeshSurface(trelLaunchContext* monteCarlo, const trelTraceableMesh* mesh,
                                      trelPhoton* photon)
{
  const std::uint32_t faces = mesh ? mesh->GetNumberOfTriangles() : 0;
  if (faces == 0) return false;
  for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
    const auto face = static_cast<std::uint32_t>(monteCarlo->NextRandom() * faces);
    const trelTraceableTriangle& triangle = mesh->GetTriangleArray()[std::min(face, faces - 1)];
    const trelTraceableVertex* corners[3];
    for (int c = 0; c < 3; ++c)
      corners[c] = &mesh->GetVertexArray()[triangle.Vertices[c]];
    const auto inX = std::minmax({corners[0]->X, corners[1]->X, corners[2]->X});
    const auto inY = std::minmax({corners[0]->Y, corners[1]->Y, corners[2]->Y});
    const double x = inX.first + monteCarlo->NextRandom() * (inX.second - inX.first);
    const double y = inY.first + monteCarlo->NextRandom() * (inY.second - inY.first);
    const double* normal = triangle.Normal;
    if (normal[2] == 0.0 || !IsAboveTriangle(corners, x, y)) continue;
    photon->PositionX = x;
    photon->PositionY = y;
    photon->PositionZ =
        corners[0]->Z -
        (normal[0] * (x - corners[0]->X) + normal[1] * (y - corners[0]->Y)) / normal[2];
    return true;
  }
  return false;
}

bool trelLightSource::SampleSurface(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  if (!Shape) return false;
  double axis[3];
  Shape->GetHalfAxes(&axis[0], &axis[1], &axis[2]);
  double offset[3] = {0.0, 0.0, 0.0};
  switch (Shape->GetShapeType()) {
    case ShapeRectangle:
      SampleRectangleEdge(monteCarlo, axis, offset);
      break;
    case ShapeEllipse:
      SampleOutline(monteCarlo, axis, offset);
      break;
    case ShapeEllipsoid:
      SampleEllipsoidSurface(monteCarlo, axis, offset);
      break;
    case ShapeCylinder:
      SampleCylinderSurface(monteCarlo, axis, offset);
      break;
    case ShapeCube:
      SampleCubeFace(monteCarlo, axis, offset);
      break;
    case ShapeTriangleMesh:
      return SampleTriangleMeshSurface(monteCarlo, dynamic_cast<trelTraceableMesh*>(Shape), photon);
    default:
      return false;
  }
  SetPosition(photon, *Shape, offset);
  return true;
}

/** Moves the packet back along its direction until it is out of a tetrahedral medium, then forward
 *  to where it meets the outer surface, and into the tissue behind that face. False if it does not
 *  meet it within its width, or is not out of it after 10,000 moves. */
static bool EnterTetrahedralMedium(trelMedium* medium, trelPhoton* photon)
{
  const trelMCTetrahedron* mesh = medium->GetTetrahedron();
  if (!mesh || mesh->IsEmpty()) return false;
  double halfAxis[3];
  mesh->GetHalfAxes(halfAxis, halfAxis + 1, halfAxis + 2);
  for (int step = 0;
       medium->GetTissueIndex(photon->PositionX, photon->PositionY, photon->PositionZ) != -1;
       ++step) {
    if (step == maximumAttempts) return false;
    MovePhoton(photon, -halfAxis[0]);
  }
  double distance = 2.0 * halfAxis[0];
  int triangle = -1, tissue = -1;
  double normal[3];
  if (!mesh->IntersectRayInRegion(photon->PositionX, photon->PositionY, photon->PositionZ,
                                  photon->DirectionX, photon->DirectionY, photon->DirectionZ, -1,
                                  &distance, &triangle, &normal[0], &normal[1], &normal[2],
                                  &tissue)) {
    return false;
  }
  photon->TissueIndex = tissue;
  MovePhoton(photon, distance);
  return true;
}

/** Moves the packet back along its direction until it is out of @p skin, and then forward to where
 *  it enters; one that stands on it stays. False if it does not meet it within its width, or is not
 *  out of it after 10,000 moves. */
static bool MoveToSkin(const trelShapeObject& skin, trelPhoton* photon)
{
  double halfAxis[3];
  skin.GetHalfAxes(&halfAxis[0], &halfAxis[1], &halfAxis[2]);
  PointRelation relation = LocatePhoton(skin, *photon);
  if (relation == PointOnBoundary) return true;
  for (int step = 0; relation == PointInside; ++step) {
    if (step == maximumAttempts) return false;
    MovePhoton(photon, -halfAxis[0]);
    relation = LocatePhoton(skin, *photon);
  }
  double distance = 2.0 * halfAxis[0];
  int face = 0;
  double normal[3];
  if (!skin.IntersectRay(photon->PositionX, photon->PositionY, photon->PositionZ,
                         photon->DirectionX, photon->DirectionY, photon->DirectionZ, &distance,
                         &face, &normal[0], &normal[1], &normal[2], RayEnters)) {
    return false;
  }
  MovePhoton(photon, distance);
  return true;
}

bool trelLightSource::SampleExternalEntry(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  const bool drawn = Solid ? SampleVolume(monteCarlo, photon) : SampleSurface(monteCarlo, photon);
  trelMedium* medium = monteCarlo->GetMedium();
  if (!drawn || !medium) return false;
  if (medium->GetShapeIsTetrahedron()) return EnterTetrahedralMedium(medium, photon);
  const trelShapeObject* skin = medium->GetOuterShape();
  if (!skin || !MoveToSkin(*skin, photon)) return false;
  photon->TissueIndex = medium->GetOutermostTissueIndex();
  return true;
}

void trelLightSource::InitializePhoton(trelLaunchContext* monteCarlo, trelPhoton* photon,
                                       trelSpectrum* spectrum) const
{
  photon->Weight = spectrum->GetPhotonWeight(Specular, monteCarlo->GetMedium());
  photon->Wavelength = static_cast<std::int32_t>(spectrum->GetWavelength());
  photon->WavelengthIndex = static_cast<std::int32_t>(spectrum->GetWavelengthIndex());
}
