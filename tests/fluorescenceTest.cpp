#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <functional>
#include <vector>

#include "dyedBox.h"
#include "trelFluorescenceVRMC.h"
#include "trelPhoton.h"
#include "trelThreadState.h"

/** Optics of the box: no boundary reflects, so that all conversions follow an interaction. */
static const Optics Tissue = {0.1, 2.0, 0.8, 1.0};

/** Runs batches of a dyed box; one row per batch of the light of each record, excitation first. */
static std::vector<std::vector<double>> RunDyedBoxes(const std::vector<Dye>& dyes,
                                                     std::uint32_t packets)
{
  std::vector<std::vector<double>> rows(12);
  for (std::size_t batch = 0; batch < rows.size(); ++batch) {
    TestModel model(FMT);
    BuildDyedBox(model, Tissue, dyes, packets, 5);
    Traced<trelFluorescenceVRMC> run(model, static_cast<int>(batch));
    for (std::size_t k = 0; k <= dyes.size(); ++k)
      rows[batch].push_back(Light(run[static_cast<int>(k)]));
    rows[batch].push_back(run[0].GetTotalAbsorption3D());
  }
  return rows;
}

static Estimate EstimateOf(const std::vector<std::vector<double>>& rows,
                           const std::function<double(const std::vector<double>&)>& quantity)
{
  std::vector<double> sample;
  for (const std::vector<double>& row : rows)
    sample.push_back(quantity(row));
  return EstimateOf(sample);
}

TEST(Fluorescence, ExcitationBalancesAndEmissionIsTheYieldOfWhatTheDyeTook)
{
  const double yield = 0.6, muf = 0.3;
  const auto rows = RunDyedBoxes({{muf, yield, 0.0}}, 1500);
  const Estimate balance = EstimateOf(rows, [](const auto& row) { return row[0]; });
  EXPECT_NEAR(balance.Mean, 1.0, 5.0 * balance.Error + 2e-4) << "roulette moves less than 2e-4";

  // Of what an interaction takes from the excitation the tissue absorbs mua / m and the dye
  // muf mus / (mf m) of the weight before it; the yield times m / mus of the dye's part is emitted.
  const double m = Tissue.Absorption + Tissue.Scattering, mf = m + muf;
  const double dye = muf * Tissue.Scattering / (mf * m), tissue = Tissue.Absorption / m;
  const auto ratio = [&](double q) {
    const double expected = q * m / Tissue.Scattering * dye / (dye + tissue);
    const Estimate e =
        EstimateOf(rows, [&](const auto& row) { return row[1] - expected * row[2]; });
    return std::fabs(e.Mean) / (e.Error + 1e-4);
  };
  EXPECT_LT(ratio(yield), 5.0);
  EXPECT_GT(ratio(yield + 0.02), 5.0) << "the test cannot tell another yield";
}

TEST(Fluorescence, TwoDyesInOnePlaceBothConvert)
{
  const Dye first = {0.2, 0.5, 0.0}, second = {0.4, 0.8, 0.0};
  const auto rows = RunDyedBoxes({first, second}, 800);
  // The second takes from what the first has left: its Wb is m / (m + muf1) of the first's.
  const double m = Tissue.Absorption + Tissue.Scattering;
  const double expected = m / (m + second.Absorption) * second.Absorption * second.Yield /
                          (first.Absorption * first.Yield);
  const Estimate e = EstimateOf(rows, [&](const auto& row) { return row[2] - expected * row[1]; });
  EXPECT_NEAR(e.Mean, 0.0, 5.0 * e.Error + 1e-4);
  EXPECT_GT(rows[0][1], 0.05);
}

TEST(Fluorescence, TheMeanDelayIsTheLifetime)
{
  std::vector<double> delays;
  const double lifeTime = 2000.0;
  for (int batch = 0; batch < 8; ++batch) {
    TestModel model(FMT);
    BuildDyedBox(model, Tissue, {{0.3, 1.0, lifeTime}, {0.3, 1.0, 0.0}}, 300, 5);
    RecordTimes(model);
    model->SetFlyTimeMax(1e6);
    Traced<trelFluorescenceVRMC> run(model, batch);
    delays.push_back(MeanTime(run[1]) - MeanTime(run[2]));
  }
  const Estimate e = EstimateOf(delays);
  EXPECT_NEAR(e.Mean, lifeTime, 5.0 * e.Error);
  EXPECT_LT(5.0 * e.Error, 0.1 * lifeTime);
}

/** Notes what each thread takes for the kind of the current source. */
class SourceProbe final : public trelVarianceReductionMonteCarlo
{
  trelTypeMacro(SourceProbe, trelVarianceReductionMonteCarlo)

public:
  bool LaunchPhoton(trelVarianceReductionMonteCarlo*, trelPhoton*, trelSpectrum*,
                    trelLightSource*) override
  {
    const bool excited = GetThreadState().CurrentLuminousType == LuminousExcitation;
    if (excited != (omp_get_thread_num() == 0)) {
#pragma omp atomic
      ++Wrong;
    }
    return false;
  }
  int Wrong = 0;
};

TEST(Fluorescence, OnlyTheMasterKnowsThatItTracesExcitation)
{
  TestModel model(FMT);
  BuildDyedBox(model, Tissue, {{0.3, 1.0, 0.0}}, 2000, 5);
  model->SetThreadNumber(4);
  SourceProbe probe;
  probe.SetInput(model.Get());
  testing::internal::CaptureStderr();
  ASSERT_TRUE(probe.Update());
  testing::internal::GetCapturedStderr();  // no packet was launched
  EXPECT_EQ(probe.Wrong, 0);
}

TEST(Fluorescence, ADyeEmitsWhenItIsExcited)
{
  for (const SimulationDimension dimension : {Dimension2D, Dimension3D}) {
    const struct
    {
      std::uint32_t Packets, ExcitationWavelength;
      bool IsLit, Emits;
    } cases[] = {{0, 500, false, false}, {200, 501, true, false}, {200, 500, true, true}};
    for (const auto& c : cases) {
      TestModel model(FMT, dimension);
      BuildDyedBox(model, Tissue, {{0.3, 1.0, 0.0}}, c.Packets, 5);
      model->GetLightSource(1)->GetSpectrum(1)->SetExcitationWavelength(c.ExcitationWavelength);
      Traced<trelFluorescenceVRMC> run(model);
      EXPECT_EQ(Light(run[0]) > 0.9, c.IsLit);
      EXPECT_EQ(Light(run[1]) > 0.1, c.Emits);
      EXPECT_EQ(Light(run[1]) == 0.0, !c.Emits);
    }
  }
}
