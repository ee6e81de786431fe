#include "trelExactLaunch.h"

#include <algorithm>
#include <cmath>

#include "trelElementary.h"
#include "trelFresnel.h"
#include "trelLightSource.h"
#include "trelShapeObject.h"
#include "trelSpectrum.h"
#include "trelTransportModel.h"
#include "trelUniformNumbers.h"

/** How often a point of a profile is drawn before the launch counts as not met. */
static constexpr int maximumAttempts = 10000;

/** The integral of |sin t| from 0 to the angle, rad; negative below 0. A half turn adds 2, the rest
 *  1 - cos t = 2 sin^2(t / 2), which keeps its digits at small angles. */
static double IntegrateSine(double angle)
{
  const double halfTurns = angle / Pi;
  const double whole = std::floor(halfTurns);
  const double sine = PointOfTurn(0.25 * (halfTurns - whole)).Sine;
  return 2.0 * whole + 2.0 * sine * sine;
}

void trelExactLaunch::PrepareDirections(const trelLightSource& source)
{
  double min = 0.0, max = 0.0;
  source.GetAzimuthRange(&min, &max);
  AzimuthMin = min / (2.0 * Pi);
  AzimuthSpan = (max - min) / (2.0 * Pi);
  source.GetDeflectionRange(&min, &max);
  DeflectionMin = IntegrateSine(min);
  DeflectionSpan = IntegrateSine(max) - DeflectionMin;
  TurnAxes(source.GetDirection());
  IsParallel = AzimuthSpan == 0.0 && (Planar || DeflectionSpan == 0.0);
  Direction = FindDirection(0.0, 0.0);
}

/** Takes +z to the direction (x, y, z) by the shortest rotation, about (-y, x, 0): with
 *  k = 1 / (1 + z) the x axis goes to (1 - k x^2, -k x y, -x), the y axis to (-k x y, 1 - k y^2,
 * -y). Opposite to z, where there is no shortest one, it is that about y. */
void trelExactLaunch::TurnAxes(const trelVector& direction)
{
  const double x = direction.X, y = direction.Y, z = direction.Z;
  const double square = x * x + y * y;
  Axes[2] = direction;
  if (square == 0.0) {
    Axes[0] = {z < 0.0 ? -1.0 : 1.0, 0.0, 0.0};
    Axes[1] = {0.0, 1.0, 0.0};
    return;
  }
  // (1 + z) (1 - z) = square: no digits are lost downwards.
  const double k = z < 0.0 ? (1.0 - z) / square : 1.0 / (1.0 + z);
  Axes[0] = {1.0 - k * x * x, -k * x * y, -x};
  Axes[1] = {-k * x * y, 1.0 - k * y * y, -y};
}

static trelVector CenterOf(const trelShapeObject& shape)
{
  trelVector v;
  shape.GetCenter(&v.X, &v.Y, &v.Z);
  return v;
}

static trelVector HalfAxesOf(const trelShapeObject& shape)
{
  trelVector v;
  shape.GetHalfAxes(&v.X, &v.Y, &v.Z);
  return v;
}

/** Whether shape and ranges are of finite numbers; a mesh has no others. */
static bool IsFinite(const trelLightSource& source, const trelShapeObject& shape)
{
  double ranges[4];
  source.GetAzimuthRange(&ranges[0], &ranges[1]);
  source.GetDeflectionRange(&ranges[2], &ranges[3]);
  const trelVector center = CenterOf(shape), halfAxes = HalfAxesOf(shape);
  double sum = Dot(center, center) + Dot(halfAxes, halfAxes);
  for (const double angle : ranges)
    sum += std::fabs(angle);
  return std::isfinite(sum);
}

bool trelExactLaunch::Prepare(const trelLightSource& source, const trelSpectrum& spectrum,
                              std::int64_t packets, const trelTransportModel& model)
{
  *this = {};
  if (packets > 0) PacketWeight = spectrum.GetEnergy() / static_cast<double>(packets);
  const trelShapeObject* shape = source.GetShape();
  if (!shape || source.GetLuminousType() == LuminousEmission || !source.IsLaunchable())
    return false;
  if (!IsFinite(source, *shape)) return false;
  Model = &model;
  WavelengthIndex = static_cast<std::int32_t>(spectrum.GetWavelengthIndex());
  External = source.GetLuminousType() != LuminousBioluminescence && !source.IsInternal();
  Specular = source.IsSpecular();
  Solid = source.IsSolid();
  Planar = shape->GetTraits().IsPlanar();
  ProfileWidth = source.GetProfileWidth();
  Center = CenterOf(*shape);
  HalfAxes = HalfAxesOf(*shape);
  PrepareDirections(source);
  if (!shape->PrepareSampling()) return false;
  Shape = shape;
  return true;
}

bool trelExactLaunch::DrawRay(trelUniformNumbers& numbers, trelRay* ray) const
{
  if (!Shape) return false;
  ray->Direction = DrawDirection(numbers);
  return DrawPoint(numbers, &ray->Origin);
}

trelVector trelExactLaunch::DrawDirection(trelUniformNumbers& numbers) const
{
  const double turns = numbers.NextRandom();
  const double part = Planar ? 0.0 : numbers.NextRandom();
  return IsParallel ? Direction : FindDirection(turns, part);
}

trelVector trelExactLaunch::FindDirection(double turnsPart, double deflectionPart) const
{
  const double turns = AzimuthMin + turnsPart * AzimuthSpan;
  const trelUnitCircle azimuth = PointOfTurn(turns - std::floor(turns));
  if (Planar) return {azimuth.Cosine, azimuth.Sine, 0.0};
  const double drawn = DeflectionMin + deflectionPart * DeflectionSpan;
  const double whole = std::floor(0.5 * drawn);
  const double f = drawn - 2.0 * whole;
  const double side = std::fmod(whole, 2.0) == 0.0 ? 1.0 : -1.0;
  const double cosine = side * (1.0 - f);
  const double sine = side * std::sqrt(f * (2.0 - f));
  return sine * azimuth.Cosine * Axes[0] + sine * azimuth.Sine * Axes[1] + cosine * Axes[2];
}

bool trelExactLaunch::DrawPoint(trelUniformNumbers& numbers, trelVector* point) const
{
  if (ProfileWidth > 0.0) return DrawGaussianPoint(numbers, point);
  return Solid ? Shape->SampleVolumeUniformly(numbers, point)
               : Shape->SampleSurfaceUniformly(numbers, point);
}

/** A point of the unit disc, and the square of its radius; false if the attempt fails. */
static bool TryUnitDisc(trelUniformNumbers& numbers, double offset[2], double* square)
{
  offset[0] = numbers.DrawWithin(1.0);
  offset[1] = numbers.DrawWithin(1.0);
  *square = offset[0] * offset[0] + offset[1] * offset[1];
  return *square <= 1.0 && *square > 0.0;
}

/** For a disc wider than the profile: normal numbers of the standard deviation W / 2 by the polar
 *  method (G. Marsaglia and T. A. Bray, SIAM Rev. 6 (1964) 260), taken within the edge. */
bool trelExactLaunch::TryWideProfile(trelUniformNumbers& numbers, double offset[2]) const
{
  double square = 0.0;
  if (!TryUnitDisc(numbers, offset, &square)) return false;
  const double k = 0.5 * ProfileWidth * std::sqrt(-2.0 * NaturalLogarithm(square) / square);
  offset[0] *= k;
  offset[1] *= k;
  const double x = offset[0] / HalfAxes.X, y = offset[1] / HalfAxes.Y;
  return x * x + y * y <= 1.0;
}

/** For a narrower one: a point of the disc, taken with the probability exp(-2 r^2 / W^2). */
bool trelExactLaunch::TryNarrowProfile(trelUniformNumbers& numbers, double offset[2]) const
{
  double square = 0.0;
  if (!TryUnitDisc(numbers, offset, &square)) return false;
  offset[0] *= HalfAxes.X;
  offset[1] *= HalfAxes.Y;
  const double x = offset[0] / ProfileWidth, y = offset[1] / ProfileWidth;
  return 2.0 * (x * x + y * y) < -NaturalLogarithm(1.0 - numbers.NextRandom());
}

bool trelExactLaunch::DrawGaussianPoint(trelUniformNumbers& numbers, trelVector* point) const
{
  const bool wide = std::max(HalfAxes.X, HalfAxes.Y) > ProfileWidth;
  double offset[2] = {};
  for (int attempt = 0; attempt < maximumAttempts; ++attempt) {
    if (!(wide ? TryWideProfile(numbers, offset) : TryNarrowProfile(numbers, offset))) continue;
    *point = Center + trelVector{offset[0], offset[1], 0.0};
    return true;
  }
  return false;
}

trelLaunchOutcome trelExactLaunch::StartAt(const trelRay& ray, std::int32_t tissue,
                                           trelLaunched* launched) const
{
  if (!Model->IsTissue(tissue)) return LaunchNotMet;
  launched->Position = ray.Origin;
  launched->Direction = ray.Direction;
  launched->Tissue = tissue;
  return LaunchDone;
}

trelLaunchOutcome trelExactLaunch::StartOnSkin(const trelRay& ray, const trelTissueMap& map,
                                               trelLaunched* launched) const
{
  trelTissueChange skin;
  const std::int32_t tissue = map.FindTissueLeft(ray, &skin);
  if (StartAt(ray, tissue, launched) != LaunchDone) return LaunchNotMet;
  launched->Skin = skin.Hit;
  launched->Skip = skin.ReachAlong(ray.Direction);
  return LaunchEscaped;
}

trelLaunchOutcome trelExactLaunch::Enter(const trelRay& ray, const trelTissueChange& entry,
                                         trelLaunched* launched) const
{
  if (!Model->IsTissue(entry.Tissue)) return LaunchNotMet;
  const double indexHere = Model->AmbientRefractiveIndex;
  const double indexNext = Model->GetCoefficients(entry.Tissue, WavelengthIndex).RefractiveIndex;
  const double cosIncidence = CosIncidence(ray.Direction, entry.Hit.Normal);
  const trelInterface met = MeetInterface(indexHere, indexNext, cosIncidence);
  // Beyond the critical angle; and with an index that is none, which nothing checks outside.
  if (!(met.Reflectance < 1.0)) {
    launched->Reflected = 1.0;
    return LaunchReflected;
  }
  const trelVector& normal = entry.Hit.Normal;
  launched->Position = ray.At(entry.Hit.Distance);
  launched->Direction = ray.Direction;
  if (indexHere != indexNext) {
    launched->Direction = Normalized(RefractByCosines(ray.Direction, normal, indexHere / indexNext,
                                                      cosIncidence, met.CosTransmit));
  }
  launched->Tissue = entry.Tissue;
  launched->Reflected = Specular ? met.Reflectance : 0.0;
  launched->Entering = 1.0 - launched->Reflected;
  launched->Skip = entry.ReachAlong(launched->Direction);
  launched->Normal = normal;
  return LaunchDone;
}
