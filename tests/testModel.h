#ifndef testModel_h
#define testModel_h

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <vector>

#include "trelClock.h"
#include "trelCube.h"
#include "trelCylinder.h"
#include "trelEllipse.h"
#include "trelEllipsoid.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelOpticalParameter.h"
#include "trelRectangle.h"
#include "trelShapeFactory.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"
#include "trelSpectrum.h"
#include "trelThreadState.h"
#include "trelTissue.h"

/** Optical coefficients of a tissue: 1/mm, 1/mm, none, none. */
struct Optics
{
  double Absorption, Scattering, Anisotropy, RefractiveIndex;
};

/** A model made in code; the object owns it. Lengths in mm. */
class TestModel
{
public:
  explicit TestModel(SimulationType type = DOT, SimulationDimension dimension = Dimension3D)
      : Parameter(new trelSimulationParameter)
  {
    Parameter->Register();
    Parameter->SetSimulationType(type);
    Parameter->SetDimension(dimension);
    Parameter->SetWavelengths({600});
    Parameter->SetAbsorptionCoordinate(CoordinateCartesian);
    Parameter->SetTransmittanceCoordinate(CoordinateCartesian);
  }
  ~TestModel() { Parameter->UnRegister(); }
  TestModel(const TestModel&) = delete;
  TestModel& operator=(const TestModel&) = delete;

  trelSimulationParameter* operator->() { return Parameter; }
  trelSimulationParameter* Get() { return Parameter; }

  template <class Shape>
  static Shape* Make(std::initializer_list<double> center, std::initializer_list<double> halfAxes)
  {
    auto* shape = new Shape;
    shape->SetCenter(center.begin());
    shape->SetHalfAxes(halfAxes.begin());
    return shape;
  }

  /** Adds a tissue with the same optics at each wavelength set so far. */
  trelTissue* AddTissue(trelShapeObject* shape, const Optics& optics)
  {
    auto* tissue = new trelTissue;
    tissue->SetShape(shape);
    for (int i = 0; i < Parameter->GetNumberOfWavelengths(); ++i) {
      auto* parameter = new trelOpticalParameter;
      parameter->SetOpticalCoefficients(optics.Absorption, optics.Scattering, optics.Anisotropy,
                                        optics.RefractiveIndex);
      parameter->SetWavelength(Parameter->GetWavelength(i));
      parameter->Register();
      tissue->GetOpticalParameters()->Append(parameter);
    }
    tissue->Register();
    Parameter->GetMedium()->GetTissues()->Append(tissue);
    return tissue;
  }

  /** Adds a source of the given kind that emits `packets` of energy 1 in all at each wavelength. */
  trelLightSource* AddSource(trelShapeObject* shape, std::uint32_t packets,
                             LuminousType type = LuminousDiffuse)
  {
    auto* source = new trelLightSource;
    source->SetShape(shape);
    source->SetLuminousType(type);
    for (int i = 0; i < Parameter->GetNumberOfWavelengths(); ++i) {
      auto* spectrum = new trelSpectrum;
      spectrum->SetWavelength(Parameter->GetWavelength(i));
      spectrum->SetWavelengthIndex(i);
      spectrum->SetEnergy(1.0);
      spectrum->SetPhotonNumber(packets);
      spectrum->Register();
      source->GetSpectra()->Append(spectrum);
    }
    source->Register();
    Parameter->GetLightSources()->Append(source);
    return source;
  }

  /** A pencil beam along +z into the lower face of the medium at (x, y, z). */
  trelLightSource* AddPencilBeam(double x, double y, double z, std::uint32_t packets)
  {
    trelLightSource* source = AddSource(Make<trelCube>({x, y, z}, {1e-9, 1e-9, 1e-9}), packets);
    source->SetInternal(false);
    source->SetAzimuthRange(0.0, 0.0);
    source->SetDeflectionRange(0.0, 0.0);
    return source;
  }

private:
  trelSimulationParameter* Parameter;
};

inline trelShapeObject* MakeShape(ShapeType type, std::initializer_list<double> center,
                                  std::initializer_list<double> halfAxes)
{
  trelShapeObject* shape = MakeShape(type);
  shape->SetCenter(center.begin());
  shape->SetHalfAxes(halfAxes.begin());
  return shape;
}

/** Mean and standard error of a sample. */
struct Estimate
{
  double Mean, Error;
};

inline Estimate EstimateOf(const std::vector<double>& sample)
{
  const double n = static_cast<double>(sample.size());
  double sum = 0.0, squares = 0.0;
  for (double value : sample)
    sum += value;
  for (double value : sample)
    squares += (value - sum / n) * (value - sum / n);
  return {sum / n, std::sqrt(squares / (n - 1.0) / n)};
}

/** Whether the mean of @p sample is @p expected within 5 of its own standard errors: yes in all but
 *  one of 1.7 million right cases. */
inline testing::AssertionResult IsMean(double expected, const std::vector<double>& sample)
{
  const auto [mean, error] = EstimateOf(sample);
  const bool within = std::fabs(mean - expected) < 5 * error;
  return (within ? testing::AssertionSuccess() : testing::AssertionFailure())
         << mean << " +- " << error << ", expected " << expected;
}

/** Sets the wall clock, and with it all streams, to a fixed second while it lives. */
class FixedClock
{
public:
  explicit FixedClock(std::int64_t seconds)
  {
    Seconds() = seconds;
    SetWallClock([] { return Seconds(); });
  }
  ~FixedClock() { SetWallClock(nullptr); }

private:
  static std::int64_t& Seconds()
  {
    static std::int64_t seconds = 0;
    return seconds;
  }
};

/** The weight of light that a record accounts for: absorbed and transmitted. */
inline double Light(const trelMediumResult& r)
{
  return r.GetTotalAbsorption2D() + r.GetTotalAbsorption3D() + r.GetTotalTransmittance2D() +
         r.GetTotalTransmittance3D();
}

/** A model that has been run on the streams of @p batch by a fresh thread, but for the angle of the
 * last refraction; holds the results, which are asked for by wavelength. */
template <class Filter>
class Traced
{
public:
  explicit Traced(TestModel& model, int batch = 0, double transmitAngle = 0.0)
  {
    const FixedClock clock(1000003 + 7919 * batch);
    GetThreadState() = ThreadState{};
    GetThreadState().TransmitAngle = transmitAngle;
    Ran.SetInput(model.Get());
    EXPECT_TRUE(Ran.Update());
  }
  trelSimulationResult* operator->() { return Ran.GetOutput(); }
  const trelMediumResult& operator[](int i) { return *Ran.GetOutput()->GetMediumResult(i); }

private:
  Filter Ran;
};

using ModelOf = std::function<void(TestModel&)>;
using QuantityOf = std::function<double(const trelMediumResult&)>;

/**
 * A quantity of a run's first record, from independent batches with fixed streams. The standard
 * error comes from their scatter: a bound of 5 of it is missed once in 20,000 fresh draws
 * (Student's t of 24 batches). TREL_BATCHES in the environment multiplies their number, and so
 * narrows the bounds, by its root.
 */
template <class Filter>
std::vector<double> RunBatches(SimulationType type, const ModelOf& build,
                               const QuantityOf& quantity, int numberOfBatches = 24)
{
  const char* const times = std::getenv("TREL_BATCHES");
  if (times) numberOfBatches *= std::max(std::atoi(times), 1);
  std::vector<double> batches;
  for (int batch = 0; batch < numberOfBatches; ++batch) {
    TestModel model(type);
    build(model);
    batches.push_back(quantity(Traced<Filter>(model, batch)[0]));
  }
  return batches;
}

#endif
