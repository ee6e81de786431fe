#include "trelLightSource.h"

#include <cmath>

#include "trelLaunchContext.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelObjectDisplay.h"
#include "trelPhoton.h"
#include "trelShapeObject.h"
#include "trelSpectrum.h"

/** How often a position is moved before the launch counts as failed. */
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
  if (!Shape || Shape->GetTraits().Role == RoleMedium) return false;
  const double azimuth = AzimuthMin + monteCarlo->NextRandom() * (AzimuthMax - AzimuthMin);
  if (Shape->GetTraits().IsPlanar()) {
    photon->SetDirection({std::cos(azimuth), std::sin(azimuth), 0.0});
    return true;
  }
  const double deflection =
      DeflectionMin + monteCarlo->NextRandom() * (DeflectionMax - DeflectionMin);
  photon->SetDirection({std::cos(azimuth) * std::sin(deflection),
                        std::sin(azimuth) * std::sin(deflection), std::cos(deflection)});
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

/** Moves the packet along its direction, backwards for a negative distance. */
static void MovePhoton(trelPhoton* photon, double distance)
{
  photon->SetPosition(photon->GetRay().At(distance));
}

bool trelLightSource::SampleVolume(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  trelVector point;
  if (!Shape || !Shape->SampleVolume(*monteCarlo, &point)) return false;
  photon->SetPosition(point);
  return true;
}

bool trelLightSource::SampleSurface(trelLaunchContext* monteCarlo, trelPhoton* photon) const
{
  trelVector point;
  if (!Shape || !Shape->SampleSurface(*monteCarlo, &point)) return false;
  photon->SetPosition(point);
  return true;
}

/** Moves the packet back along its direction until it is out of a tetrahedral medium, then forward
 *  to where it meets the outer surface, and into the tissue behind that face. False if it does not
 *  meet it within its width, or is not out of it after 10,000 moves. */
static bool EnterTetrahedralMedium(trelMedium* medium, trelPhoton* photon)
{
  const trelMCTetrahedron* mesh = medium->GetTetrahedron();
  if (!mesh || mesh->IsEmpty()) return false;
  const double halfWidth = mesh->GetHalfAxes().X;
  for (int step = 0; medium->GetTissueIndex(photon->GetPosition()) != -1; ++step) {
    if (step == maximumAttempts) return false;
    MovePhoton(photon, -halfWidth);
  }
  trelHit hit;
  hit.Distance = 2.0 * halfWidth;
  int tissue = -1;
  if (!mesh->FindHitInRegion(photon->GetRay(), -1, &hit, &tissue)) return false;
  photon->TissueIndex = tissue;
  MovePhoton(photon, hit.Distance);
  return true;
}

/** Moves the packet back along its direction until it is out of @p skin, and then forward to where
 *  it enters; one that stands on it stays. False if it does not meet it within its width, or is not
 *  out of it after 10,000 moves. */
static bool MoveToSkin(const trelShapeObject& skin, trelPhoton* photon)
{
  const double halfWidth = skin.GetHalfAxes().X;
  PointRelation relation = skin.LocatePoint(photon->GetPosition());
  if (relation == PointOnBoundary) return true;
  for (int step = 0; relation == PointInside; ++step) {
    if (step == maximumAttempts) return false;
    MovePhoton(photon, -halfWidth);
    relation = skin.LocatePoint(photon->GetPosition());
  }
  trelHit hit;
  hit.Distance = 2.0 * halfWidth;
  if (!skin.FindHit(photon->GetRay(), RayEnters, &hit)) return false;
  MovePhoton(photon, hit.Distance);
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
