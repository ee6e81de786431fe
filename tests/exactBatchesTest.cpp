#include "exactRuns.h"
#include "trelCube.h"
#include "trelRunPlan.h"

/** Two sources of unlike strength and numbers in a cube, in the domains of steady state, time and
 *  frequency. */
static void BuildTwoSources(TestModel& m, std::uint32_t packets, int threads = 1)
{
  m.AddTissue(m.Make<trelCube>({0, 0, 0}, {2, 2, 2}), {0.1, 1.0, 0.5, 1.4});
  m.AddPencilBeam(0, 0, -2, packets);
  m.AddSource(m.Make<trelCube>({1, 1, 1}, {0.5, 0.5, 0.5}), 3 * packets)->SetInternal(true);
  m->SetThreadNumber(threads);
  m->SetSeparations(1, 1, 1, 1, 1, 1);
  m->SetTimeDomain(true);
  m->SetTimeRange(0, 40, 10);
  m->SetFrequencyDomain(true);
  m->SetFrequency(200);
}

TEST(ExactBatches, EveryPrefixOfABatchHasAllEntriesInTheirProportion)
{
  const std::vector<std::vector<std::int64_t>> cases = {
      {7}, {1, 1}, {1, 1000}, {5, 3, 2}, {1, 2, 3, 4, 5, 6, 7}, {0, 10, 0, 21}};
  for (const std::vector<std::int64_t>& numbers : cases) {
    std::vector<trelRunEntry> entries;
    for (const std::int64_t number : numbers)
      entries.push_back({nullptr, nullptr, 0, number, 0});
    trelRunPlan plan;
    plan.Build(entries, 0, 3);
    const auto all = static_cast<double>(plan.GetPacketsOfBatch());
    std::vector<std::int64_t> launched(plan.GetEntries().size(), 0);
    for (std::int64_t place = 0; place < plan.GetPacketsOfBatch(); ++place) {
      const trelPlannedPacket packet = plan.Find(place);
      ASSERT_EQ(packet.Number, launched[packet.Entry]++);
      for (std::size_t e = 0; e < launched.size(); ++e) {
        const double due = static_cast<double>((place + 1) * plan.GetEntries()[e].Share) / all;
        EXPECT_NEAR(static_cast<double>(launched[e]), due, 3.0);
      }
    }
    for (std::size_t e = 0; e < launched.size(); ++e)
      EXPECT_EQ(launched[e], plan.GetEntries()[e].Share);
  }
  trelRunPlan large;
  large.Build({{nullptr, nullptr, 0, 1, 0}, {nullptr, nullptr, 0, 4000000000, 0}}, 100000000000,
              20);
  EXPECT_EQ(large.GetEntries()[0].Packets, 40) << "24, rounded up to a multiple of the batches";
  EXPECT_EQ(large.GetPackets(), 100000000020);
  EXPECT_EQ(large.Find(large.GetPacketsOfBatch() - 1).Number,
            large.GetEntries()[large.Find(large.GetPacketsOfBatch() - 1).Entry].Share - 1);
}

/** The cells of all summed grids of a record. */
static std::vector<double> CellsOf(const trelMediumResult& record)
{
  std::vector<double> cells;
  for (const trelGridDomain domain : {GridCW, GridTD, GridFDReal, GridFDImag}) {
    for (int id = 0; id < NumberOfGrids; ++id) {
      const trelGrid* grid = record.GetGrid(domain, static_cast<trelGridId>(id));
      if (grid)
        cells.insert(cells.end(), grid->GetCells(), grid->GetCells() + grid->GetNumberOfCells());
    }
  }
  return cells;
}

TEST(ExactBatches, PacketsAreTheSameInAnyNumberOfBatchesAndOfThreads)
{
  for (const bool fluence : {false, true}) {
    std::vector<std::vector<double>> runs;
    for (const auto& [batches, threads] : {std::pair{1, 1}, {4, 1}, {10, 2}, {10, 3}, {1, 3}}) {
      TestModel model;
      BuildTwoSources(model, 600, threads);
      model->SetSaveFluenceRate(fluence);
      ExactRun run(model, 5, batches);
      runs.push_back(CellsOf(run[0]));
      runs.back().push_back(Light(run[0]));
      EXPECT_EQ(run.GetSummary().Packets, 2400u);
      EXPECT_NEAR(Light(run[0]), 2.0, 0.1);
    }
    ASSERT_GT(runs[0].size(), 300u);
    for (const std::vector<double>& run : runs) {
      ASSERT_EQ(run.size(), runs[0].size());
      for (std::size_t i = 0; i < run.size(); ++i)
        EXPECT_NEAR(run[i], runs[0][i], 1e-13);
    }
  }
}

TEST(ExactBatches, ProjectionsAreSumsOfCells)
{
  TestModel model;
  BuildTwoSources(model, 100);
  model->SetSeparations(1, 2, 0.5, 1, 1, 1);  // 1 mm^3
  ExactRun run(model, 5, 4);
  const trelBatchProjections& projections = run.GetStatistics().GetProjections();
  for (const trelGridDomain domain : SummedDomains) {
    const trelGrid& grid = *run[0].GetGrid(domain, AbsorptionXYZ);
    const trelGridLayout layout = run[0].GetGrids(domain).GetLayout(AbsorptionXYZ);
    const std::vector<std::int32_t> counts = {layout.Rows, layout.Columns, layout.Depth,
                                              layout.Bins};
    const std::size_t strides[] = {static_cast<std::size_t>(layout.Columns * layout.Depth),
                                   static_cast<std::size_t>(layout.Depth), 1,
                                   layout.GetCellsPerBin()};
    for (std::size_t axis = 0; axis < 4; ++axis) {
      const trelBatchSlice slice =
          axis < 3 ? projections.FindProjection({0}, domain, AbsorptionXYZ, static_cast<int>(axis))
                   : projections.FindSums({0}, domain, AbsorptionXYZ);
      ASSERT_EQ(slice.Number, static_cast<std::size_t>(counts[axis])) << domain << " " << axis;
      std::vector<double> sums(slice.Number, 0.0);
      for (std::size_t k = 0; k < grid.GetNumberOfCells(); ++k)
        sums[k / strides[axis] % slice.Number] += grid.GetCells()[k];
      for (std::size_t i = 0; i < slice.Number; ++i)
        EXPECT_NEAR(projections.FindMean(slice.First + i), sums[i], 1e-13) << domain << axis << i;
    }
  }
  const trelBatchSlice gates = projections.FindTotal({0}, true, TotalOfTop);
  ASSERT_EQ(gates.Number, 4u);
  EXPECT_NEAR(projections.FindMean(gates.First + 2), run[0].GetTimeTotals().GetTotal(TotalOfTop, 2),
              1e-13);
}

TEST(ExactBatches, TimeAndPathOfWhatLeavesAreThoseOfItsSteps)
{
  ExactFlights flights([](TestModel& m) {
    m.AddTissue(m.Make<trelCube>({0, 0, 0}, {4, 4, 4}), {0.05, 1.0, 0.8, 1.5});
    m.AddTissue(m.Make<trelCube>({1, 0, 0}, {2, 2, 2}), {0.05, 2.0, 0.8, 1.2});
    m.AddPencilBeam(0, 0, -4, 300);
  });
  double weight = 0.0, time = 0.0, path = 0.0;
  for (std::uint64_t i = 0; i < flights.GetCount(); ++i) {
    double length = 0.0;
    const Flight flight =
        flights.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
          length += Length(after.Position - before.Position);
        });
    weight += flight.Weight;
    time += flight.Weight * flight.Time;
    path += flight.Weight * length;
  }
  const trelLedgerSum escaped = flights.GetLedger().Records[0].GetEscaped();
  EXPECT_NEAR(escaped.GetWeight(), weight, 1e-9 * weight);
  EXPECT_NEAR(escaped.Time, time, 1e-9 * time);
  EXPECT_NEAR(escaped.Path, path, 1e-9 * path);
}

/** How many seeds a test of errors takes: many on request. */
static int CountSeeds(int seeds)
{
  const char* const asked = std::getenv("TREL_SEEDS");
  return asked ? std::atoi(asked) : seeds;
}

/** Numbers of a run in @p batches, each with the error that the run tells of it. */
static std::vector<trelEstimate> EstimatesOf(std::uint64_t seed, std::int64_t batches,
                                             std::uint32_t packets)
{
  TestModel model;
  BuildTwoSources(model, packets);
  model->SetSeparations(2, 2, 2, 1, 1, 1);
  ExactRun run(model, seed, batches);
  const trelBatchStatistics& statistics = run.GetStatistics();
  const trelBatchProjections& projections = statistics.GetProjections();
  const trelMediumResult& errors = *statistics.GetErrors()->GetMediumResult(0);
  std::vector<trelEstimate> estimates;
  for (const trelGridTotal total : {TotalOfAbsorption3D, TotalOfTransmittance3D, TotalOfTop})
    estimates.push_back({run[0].GetTotal(total), statistics.GetError(0, total)});
  for (const trelGridDomain domain :
       {GridCW, GridTD, GridFDReal, GridFDImag, GridFDAmp, GridFDPha}) {
    const std::size_t cell = 7;  // with the second source
    estimates.push_back({run[0].GetGrid(domain, AbsorptionXYZ)->GetCells()[cell],
                         errors.GetGrid(domain, AbsorptionXYZ)->GetCells()[cell]});
  }
  for (const std::size_t number :
       {projections.FindProjection({0}, GridCW, AbsorptionXYZ, 2).First + 1,
        projections.FindTotal({0}, true, TotalOfAbsorption3D).First + 1})
    estimates.push_back({projections.FindMean(number), projections.FindError(number)});
  for (const trelLedgerLine& line : run.ListLedger(0)) {
    if (line.Name != "escaped") continue;
    estimates.push_back(line.MeanTime);
    estimates.push_back(line.MeanPath);
  }
  return estimates;
}

/** Student's 97.5 % quantile for 9 degrees. */
static constexpr double studentOf9 = 2.262;

TEST(ExactBatches, ErrorsAreTheScatterBetweenSeeds)
{
  const int seeds = CountSeeds(600);
  std::vector<std::vector<trelEstimate>> estimates;
  for (int seed = 0; seed < seeds; ++seed) {
    const auto all = EstimatesOf(static_cast<std::uint64_t>(seed), 10, 50);
    estimates.resize(all.size());
    for (std::size_t i = 0; i < all.size(); ++i)
      estimates[i].push_back(all[i]);
  }
  ASSERT_EQ(estimates.size(), 13u);
  for (const std::vector<trelEstimate>& estimate : estimates) {
    std::vector<double> values;
    for (const auto& [value, error] : estimate)
      values.push_back(value);
    const double mean = EstimateOf(values).Mean;
    // The sample of what the runs tell minus what they scatter has the mean 0.
    const auto differences = [&](double factor) {
      std::vector<double> sample;
      for (const auto& [value, error] : estimate)
        sample.push_back(factor * factor * error * error -
                         (value - mean) * (value - mean) * seeds / (seeds - 1.0));
      return sample;
    };
    EXPECT_TRUE(IsMean(0.0, differences(1.0))) << "estimate " << &estimate - estimates.data();
    for (const double wrong : {0.8, 1.25})
      EXPECT_FALSE(IsMean(0.0, differences(wrong))) << &estimate - estimates.data();
    std::vector<double> covers;
    for (const auto& [value, error] : estimate)
      covers.push_back(std::fabs(value - mean) <= studentOf9 * error ? 1.0 : 0.0);
    EXPECT_TRUE(IsMean(0.95, covers)) << &estimate - estimates.data();
  }
}

TEST(ExactBatches, ARunThatIsSureEnoughEnds)
{
  constexpr double goal = 0.02;
  const int seeds = CountSeeds(150);
  std::vector<double> values, variances, quantiles, batches, others, variancesOfOthers;
  for (int seed = 0; seed < seeds; ++seed) {
    TestModel model;
    model.AddTissue(model.Make<trelCube>({0, 0, 0}, {2, 2, 2}), {0.1, 1.0, 0.5, 1.4});
    model.AddPencilBeam(0, 0, -2, 200);
    model->SetSeparations(4, 4, 4, 1, 1, 1);
    ExactRun run(model, static_cast<std::uint64_t>(seed), 20, goal);
    const double value = run.GetLedger().Records[0].GetAbsorbed().GetWeight();
    const double error = run.GetSummary().RelativeError * value;
    batches.push_back(static_cast<double>(run.GetSummary().BatchesDone));
    ASSERT_LT(error, goal * value);
    ASSERT_GE(batches.back(), 20.0);
    ASSERT_EQ(run.GetSummary().PacketsFlown, 10u * run.GetSummary().BatchesDone);
    ASSERT_FALSE(run.GetSummary().EndedEarly());
    values.push_back(value);
    variances.push_back(error * error);
    for (const trelLedgerLine& line : run.ListLedger(0)) {
      if (line.Name != "by the face top") continue;
      others.push_back(line.Weight);
      variancesOfOthers.push_back(line.Error * line.Error);
    }
    quantiles.push_back((1.96 + 2.5 / (batches.back() - 1.0)) * error);  // Student's 97.5 %
  }
  EXPECT_GT(EstimateOf(batches).Mean, 30.0);
  const double mean = EstimateOf(values).Mean;
  std::vector<double> squares, covers;
  for (std::size_t k = 0; k < values.size(); ++k) {
    squares.push_back((values[k] - mean) * (values[k] - mean));
    covers.push_back(std::fabs(values[k] - mean) <= quantiles[k] ? 1.0 : 0.0);
  }
  const Estimate square = EstimateOf(squares);
  const double ratio = EstimateOf(variances).Mean / square.Mean;
  const double slack = seeds < 2000 ? 5.0 : 0.0;  // standard errors
  EXPECT_GT(ratio, 0.85 - slack * square.Error / square.Mean);
  EXPECT_LT(ratio, 1.05 + slack * square.Error / square.Mean);
  EXPECT_GE(EstimateOf(covers).Mean, 0.93 - slack * EstimateOf(covers).Error);
  const double meanOfOthers = EstimateOf(others).Mean;
  for (std::size_t k = 0; k < others.size(); ++k)
    variancesOfOthers[k] -= (others[k] - meanOfOthers) * (others[k] - meanOfOthers);
  EXPECT_TRUE(IsMean(0.0, variancesOfOthers)) << "what does not end the run";
  RecordProperty("ratio", std::to_string(ratio));
  RecordProperty("covers", std::to_string(EstimateOf(covers).Mean));
  RecordProperty("batches", std::to_string(EstimateOf(batches).Mean));
}

TEST(ExactBatches, WhatOneBatchAloneHitHasNoError)
{
  EXPECT_TRUE(std::isnan(FindErrorOfMean(0.0, 0.0, 20)));
  EXPECT_TRUE(std::isnan(FindErrorOfMean(0.3, 0.3 * 0.3, 20)));
  EXPECT_TRUE(std::isnan(FindErrorOfMean(0.3, 0.3 * 0.3, 1)));
  EXPECT_DOUBLE_EQ(FindErrorOfMean(1.0 + 3.0, 1.0 + 9.0, 2), 1.0);
  EXPECT_EQ(FindErrorOfMean(0.3 + 0.3, 2 * (0.3 * 0.3), 2), 0.0);
}
