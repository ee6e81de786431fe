#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "testModel.h"
#include "trelDiffuseVRMC.h"
#include "trelFresnel.h"
#include "trelPhaseFunction.h"
#include "trelPhoton.h"
#include "trelRandomStream.h"
#include "trelThreadState.h"

using testing::DoubleNear;
using testing::Pointwise;
using Vector = std::array<double, 3>;

static double Dot(const Vector& a, const Vector& b)
{
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/** The calling thread's state with a packet and a stream of the given seed. */
class TransportTest : public testing::Test
{
protected:
  TransportTest() : State(GetThreadState())
  {
    State = ThreadState{};
    State.Photon = &Photon;
    State.OneThread = true;
    State.OpenStream(12345);
  }
  ~TransportTest() override
  {
    State.CloseStream();
    State = ThreadState{};
  }

  void SetDirection(const Vector& u)
  {
    Photon.DirectionX = u[0];
    Photon.DirectionY = u[1];
    Photon.DirectionZ = u[2];
  }
  Vector GetDirection() const { return {Photon.DirectionX, Photon.DirectionY, Photon.DirectionZ}; }

  /** Where a packet that travels along @p u is scattered to. */
  Vector Scatter(const Vector& u, double g)
  {
    SetDirection(u);
    Scatter3D(State, g);
    EXPECT_NEAR(Dot(GetDirection(), GetDirection()), 1.0, 1e-12);
    return GetDirection();
  }
  Estimate MeanCosine(double g, const Vector& u)
  {
    std::vector<double> cosines(20000);
    for (double& cosine : cosines)
      cosine = Dot(u, Scatter(u, g));
    return EstimateOf(cosines);
  }

  trelPhoton Photon;
  ThreadState& State;
};

/** Wide enough for the product of a state and a small factor. */
__extension__ typedef unsigned __int128 Wide;

TEST(RandomStream, IsTheGeneratorInExactArithmetic)
{
  // x(n+1) = 13^13 x(n) mod 2^59 by repeated modular multiplication with 13, in 128 bits.
  const Wide modulus = static_cast<Wide>(1) << 59;
  for (const std::uint32_t seed : {0u, 1u, 2u, 1789000000u, 4294967295u}) {
    trelRandomStream* stream = nullptr;
    ASSERT_EQ(vslNewStream(&stream, GeneratorMCG59, seed), 0);
    Wide x = seed ? seed : 1;
    double block[1000];
    vdRngUniform(0, stream, 500, block, 0.0, 1.0);
    vdRngUniform(0, stream, 500, block + 500, 0.0, 1.0);
    for (const double u : block) {
      const double expected = static_cast<double>(static_cast<std::uint64_t>(x)) / 0x1p59;
      ASSERT_EQ(u, expected) << "seed " << seed;
      ASSERT_LT(u, 1.0);
      for (int i = 0; i < 13; ++i)
        x = x * 13 % modulus;
    }
    vslDeleteStream(&stream);
    EXPECT_EQ(stream, nullptr);
  }
  trelRandomStream* stream = nullptr;
  EXPECT_NE(vslNewStream(&stream, 1, 1), 0);
}

TEST(RandomStream, NeverGivesOne)
{
  trelRandomStream stream{(std::uint64_t{1} << 59) - 1};
  double u = 0.0;
  vdRngUniform(0, &stream, 1, &u, 0.0, 1.0);
  EXPECT_LT(u, 1.0);
  EXPECT_GT(u, 0.9999999);
}

TEST_F(TransportTest, TheBlockIsRefilledAndItsIndexOutlivesTheStream)
{
  trelRandomStream* stream = nullptr;
  vslNewStream(&stream, GeneratorMCG59, 12345);
  std::vector<double> expected(2 * RandomBlockLength + 1);
  vdRngUniform(0, stream, 2 * RandomBlockLength + 1, expected.data(), 0.0, 1.0);
  vslDeleteStream(&stream);
  for (const double u : expected)
    ASSERT_EQ(State.NextRandom(), u);
  State.CloseStream();
  State.OpenStream(7);
  EXPECT_EQ(State.RandomIndex, 1);
}

TEST_F(TransportTest, TheMeanCosineOfScatteringIsG)
{
  const Vector directions[] = {{0, 0, 1}, {0, 0, -1}, {1, 0, 0}, {0.48, -0.6, 0.64}};
  for (const double g : {-1.0, -0.7, 0.0, 0.01, 0.75, 0.9, 1.0}) {
    for (const auto& u : directions) {
      // 5 sigma: one wrong alarm in 1.7 million; the stream is fixed all the same.
      const Estimate cosine = MeanCosine(g, u);
      EXPECT_NEAR(cosine.Mean, g, 5.0 * cosine.Error + 1e-7) << "g " << g << " u " << u[2];
    }
  }
  const Estimate power = MeanCosine(0.77, directions[0]);
  EXPECT_GT(std::fabs(power.Mean - 0.75), 5.0 * power.Error) << "the test cannot tell 0.77";
}

TEST_F(TransportTest, TheAzimuthOfScatteringIsUniformAboutTheOldDirection)
{
  const Vector u = {2.0 / 3, 1.0 / 3, 2.0 / 3};
  const Vector side = {1.0 / 3, 2.0 / 3, -2.0 / 3}, up = {-2.0 / 3, 2.0 / 3, 1.0 / 3};
  const int n = 40000, bins = 16;
  int counts[bins] = {};
  for (int i = 0; i < n; ++i) {
    const Vector d = Scatter(u, 0.5);
    const double turn = (std::atan2(Dot(d, up), Dot(d, side)) + Pi) / (2 * Pi);
    ++counts[std::min(bins - 1, static_cast<int>(turn * bins))];
  }
  double chi2 = 0.0;
  for (const int count : counts)
    chi2 += (count - n / 16.0) * (count - n / 16.0) / (n / 16.0);
  EXPECT_LT(chi2, 15.0 + 5.0 * std::sqrt(2 * 15.0)) << "chi-square of 15 degrees of freedom";
}

TEST_F(TransportTest, TheShortCosineIsTheLibrarys)
{
  const double ends[] = {0.0, 0.25, 0.5, 0.75, 1.0 - 0x1p-53, 0x1p-53, 0.5 + 0x1p-53, 1e-9};
  for (int i = 0; i < 1000000; ++i) {
    const double turn = i < 8 ? ends[i] : State.NextRandom();
    const double phi = 2.0 * Pi * turn;
    const double cosine = CosineOfTurn(turn);
    // The library's argument is rounded: 4.4e-16 at most for 2 pi.
    ASSERT_NEAR(cosine, std::cos(phi), 9e-16) << "turn " << turn;
    const double sine = SineOfTurn(turn, cosine);
    ASSERT_NEAR(sine, std::sin(phi), 3e-8) << "turn " << turn;
    ASSERT_EQ(std::signbit(sine) && sine != 0.0, Pi - phi < 0.0 && sine != 0.0) << "turn " << turn;
  }
}

TEST(Fresnel, AgreesWithTheFieldAmplitudes)
{
  for (const double n1 : {1.0, 1.37, 1.5}) {
    for (const double n2 : {1.0, 1.33, 2.0}) {
      for (double c = 0.05; c <= 1.0; c += 0.05) {
        const double s = std::sqrt(1 - c * c) * n1 / n2;
        double ct = -1.0;
        const double r = FresnelReflectance(n1, n2, c, &ct);
        if (s >= 1.0) {
          EXPECT_EQ(r, 1.0);
          continue;
        }
        const double t = std::sqrt(1 - s * s);
        const double perpendicular = (n1 * c - n2 * t) / (n1 * c + n2 * t);
        const double parallel = (n1 * t - n2 * c) / (n1 * t + n2 * c);
        EXPECT_NEAR(r, 0.5 * (perpendicular * perpendicular + parallel * parallel), 1e-12)
            << n1 << " " << n2 << " " << c;
        EXPECT_NEAR(ct, t, 1e-12);
      }
    }
  }
  double ct = 0.0;
  EXPECT_NEAR(FresnelReflectance(1.0, 1.4, 1.0, &ct), std::pow(0.4 / 2.4, 2), 1e-15);
  EXPECT_EQ(FresnelReflectance(1.0, 1.4, 1e-13, &ct), 1.0);
  const double critical = CriticalCosine(1.5, 1.0);
  EXPECT_NEAR(std::sqrt(1 - critical * critical), 1 / 1.5, 1e-15);
}

TEST_F(TransportTest, RefractionObeysSnellAndStaysInThePlaneOfIncidence)
{
  const Vector n = {2.0 / 3, 1.0 / 3, 2.0 / 3}, side = {1.0 / 3, 2.0 / 3, -2.0 / 3};
  const auto turned = [&](double along, double aside) {
    return Vector{along * n[0] + aside * side[0], along * n[1] + aside * side[1],
                  along * n[2] + aside * side[2]};
  };
  State.NormalX = n[0], State.NormalY = n[1], State.NormalZ = n[2];
  State.TransmitAngle = std::asin(0.6 / 1.5);
  SetDirection(turned(0.8, 0.6));
  EXPECT_NEAR(CosIncidence(State), 0.8, 1e-15);
  Refract(State);
  EXPECT_THAT(GetDirection(), Pointwise(DoubleNear(1e-15), turned(std::sqrt(0.84), 0.4)));
  Reflect(State);
  EXPECT_THAT(GetDirection(), Pointwise(DoubleNear(1e-15), turned(-std::sqrt(0.84), 0.4)));
}

TEST_F(TransportTest, OneAzimuthBinForTheTurnAnswersAsTheAngleDoes)
{
  const trelGridBins turn{0.0, 360.0, 360.0, 1};
  const double places[][2] = {{0, 0},      {1, 0},    {-1, 0},       {1, -0.0},
                              {1, -1e-9},  {1, 1e-9}, {0, -1},       {-1, -1e-300},
                              {1, -1e-16}, {NAN, 1},  {1, -1e-7},    {1e-200, -1e-200},
                              {1, NAN},    {3, 4},    {-0.5, -1e-8}, {0.5, -1e-15}};
  for (const auto& [dx, dy] : places) {
    const double r = std::sqrt(dx * dx + dy * dy);
    std::int32_t bin = -1, expected = -1;
    const bool found = LocateAzimuth(turn, dx, dy, r, &bin);
    EXPECT_EQ(found, turn.Locate(AzimuthDegrees(dx, dy, r), &expected)) << dx << " " << dy;
    EXPECT_EQ(found ? bin : -1, expected) << dx << " " << dy;
  }
}

/** Opens the steps of the transport to the tests. */
class ProbeVRMC : public trelVarianceReductionMonteCarlo
{
  trelTypeMacro(ProbeVRMC, trelVarianceReductionMonteCarlo)

public:
  using trelVarianceReductionMonteCarlo::CoefficientsOf;
  using trelVarianceReductionMonteCarlo::CrossesBoundaryAnalytic;
  using trelVarianceReductionMonteCarlo::Deposit;
  using trelVarianceReductionMonteCarlo::MakeScoreTables;
  using trelVarianceReductionMonteCarlo::MoveToBoundaryAnalytic;
  using trelVarianceReductionMonteCarlo::NewStep;
  using trelVarianceReductionMonteCarlo::ResolveBoundary;
  using trelVarianceReductionMonteCarlo::Roulette;
  using trelVarianceReductionMonteCarlo::ScoreTables;

  bool LaunchPhoton(trelVarianceReductionMonteCarlo*, trelPhoton*, trelSpectrum*,
                    trelLightSource*) override
  {
    return false;
  }
};

/** A cube of 20 mm with a cube of 4 mm in it and a clear one aside, ready for single steps. */
class StepTest : public TransportTest
{
protected:
  StepTest()
  {
    Model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {10, 10, 10}), {0.5, 4.5, 0.9, 1.4});
    Model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {2, 2, 2}), {0.1, 0.9, 0.0, 1.5});
    Model.AddTissue(TestModel::Make<trelCube>({8, 8, 8}, {1, 1, 1}), {0.05, 0.05, 0.9, 1.4});
    Model->GetMedium()->SetAmbientRefractiveIndex(1.0);
    Filter.SetInput(Model.Get());
    Filter.Initialize();
    EXPECT_TRUE(Filter.GetOutput()->Initialize(Model.Get()));
    Filter.MakeScoreTables();
    State.SpectrumMediumResult = Filter.GetOutput()->GetMediumResult(0);
    State.Scores = &Filter.ScoreTables[0];
    State.SourceWeight = 2.0;
    State.PartialAbsorption = true;
    Photon.TissueIndex = 0;
    Photon.Weight = 1.0;
    Photon.DirectionZ = 0.0;
    Photon.DirectionX = 1.0;
  }

  const trelCoefficients& Here() { return Filter.CoefficientsOf(Photon.TissueIndex, Photon); }
  /** Whether a step of @p length along x meets a boundary, to which it is cut then. */
  bool MeetsBoundary(double length)
  {
    Photon.StepSize = length;
    const double end[3] = {Photon.PositionX + length, Photon.PositionY, Photon.PositionZ};
    return Filter.CrossesBoundaryAnalytic(State, end) &&
           Filter.MoveToBoundaryAnalytic(State, Here());
  }

  TestModel Model;
  ProbeVRMC Filter;
};

TEST_F(StepTest, TheRestOfACutStepIsWalkedWithTheCoefficientsBehindTheBoundary)
{
  Photon.PositionX = -5.0;
  ASSERT_TRUE(MeetsBoundary(4.0));
  EXPECT_EQ(State.NextTissue, 1);
  EXPECT_DOUBLE_EQ(Photon.StepSize, 3.0);
  EXPECT_DOUBLE_EQ(Photon.StepLeft, 5.0);
  EXPECT_DOUBLE_EQ(State.NormalX, 1.0) << "the normal points along the travel";
  Photon.TissueIndex = 1;
  const int before = State.RandomIndex;
  Filter.NewStep(State, Here());
  EXPECT_DOUBLE_EQ(Photon.StepSize, 5.0);
  EXPECT_EQ(Photon.StepLeft, 0.0);
  EXPECT_EQ(State.RandomIndex, before) << "no number is drawn for the rest";
}

TEST_F(StepTest, LeavingAnInnerTissueLeadsIntoTheOutermostOne)
{
  Photon.TissueIndex = 1;
  ASSERT_TRUE(MeetsBoundary(30.0)) << "the end lies outside of the medium";
  EXPECT_EQ(State.NextTissue, 0);
  EXPECT_DOUBLE_EQ(Photon.StepSize, 2.0);
  Filter.ResolveBoundary(State, Here());
  EXPECT_EQ(State.IndexHere, 1.5);
  EXPECT_EQ(State.IndexNext, 1.4);
}

TEST_F(StepTest, ABoundaryDrawsOneNumberUnlessTheIndicesAreEqual)
{
  State.NormalX = 1.0;
  State.NextTissue = -1;
  Filter.ResolveBoundary(State, Here());
  EXPECT_EQ(State.RandomIndex, 1);
  Photon.DirectionX = 0.1;  // total reflection
  Photon.DirectionY = std::sqrt(0.99);
  State.TransmitPending = State.ReflectPending = false;
  Filter.ResolveBoundary(State, Here());
  EXPECT_TRUE(State.ReflectPending);
  EXPECT_EQ(State.RandomIndex, 2);
  State.ReflectPending = false;
  State.TransmitAngle = 0.25;
  State.NextTissue = 0;
  Filter.ResolveBoundary(State, Here());
  EXPECT_TRUE(State.TransmitPending);
  EXPECT_EQ(State.RandomIndex, 2);
  EXPECT_EQ(State.TransmitAngle, 0.25) << "kept for the next boundary of equal indices";
}

TEST_F(StepTest, ADepositTakesTheShareOfAbsorption)
{
  Photon.StepSize = 1.0;
  Filter.Deposit(State, Here());
  EXPECT_DOUBLE_EQ(Photon.Weight, 0.9);
  Photon.StepSize = 0.0;
  Filter.Deposit(State, Here());
  EXPECT_DOUBLE_EQ(Photon.Weight, 0.9) << "no step, no interaction";
  State.PartialAbsorption = false;
  Filter.Deposit(State, Here());
  EXPECT_EQ(Photon.Weight, 0.0);
  EXPECT_TRUE(State.PartialAbsorption);
  const double* cells = State.SpectrumMediumResult->GetGrid(GridCW, AbsorptionXYZ)->GetCells();
  EXPECT_DOUBLE_EQ(cells[(10 * 20 + 10) * 20 + 10], 2.0) << "SourceWeight times all of the weight";
}

TEST_F(StepTest, RouletteSparesTheThresholdAndTheDead)
{
  Photon.Weight = 0.0001;
  Filter.Roulette(State);
  Photon.Weight = 1e-9;
  Photon.Dead = true;
  Filter.Roulette(State);
  EXPECT_EQ(State.RandomIndex, 0);
  State.RandomBlock[0] = 0.1;  // exactly the limit loses
  Photon.Dead = false;
  Filter.Roulette(State);
  EXPECT_TRUE(Photon.Dead);
  EXPECT_EQ(State.SpectrumMediumResult->GetAbsorpPhotonNum(), 1);
  State.RandomBlock[1] = 0.0999;
  Photon.Dead = false;
  Photon.Weight = 5e-5;
  Filter.Roulette(State);
  EXPECT_DOUBLE_EQ(Photon.Weight, 5e-4);
}

TEST_F(StepTest, TissueOfExactlyTheLimitDoesNotInteract)
{
  Photon.TissueIndex = 2;
  Filter.NewStep(State, Here());
  EXPECT_EQ(Photon.StepSize, 0.5);
  Filter.Deposit(State, Here());
  EXPECT_EQ(Photon.Weight, 1.0);
  EXPECT_EQ(State.RandomIndex, 0);
}

TEST(Transport, LimitsDropAPacketWithItsWeight)
{
  for (const bool bySteps : {true, false}) {
    TestModel model;
    model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {500, 500, 500}), {0.0, 1.0, 0, 1});
    model.AddPencilBeam(0, 0, -500, 100);
    model->SetSeparations(100, 100, 100, 1, 1, 1);
    // The test is "greater than": two steps are walked.
    bySteps ? model->SetStepNumberMax(1) : model->SetFlyTimeMax(1e-9);
    testing::internal::CaptureStderr();
    Traced<trelDiffuseVRMC> run(model);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("packets reached the limit of 1 steps") !=
                  std::string::npos,
              bySteps);
    EXPECT_LT(run[0].GetTransmitPhotonNum() + run[0].GetAbsorpPhotonNum(), 60) << bySteps;
    EXPECT_EQ(run[0].GetTotalAbsorption3D(), 0.0);
  }
}

/** Notes the lengths of the trajectories that it is told of. */
class TrajectoryWatcher final : public trelFilter
{
public:
  bool Execute() override
  {
    Longest = std::max(Longest, Result->GetTrajectoryStepNum());
    return true;
  }
  trelSimulationResult* Result = nullptr;
  int Longest = 0;
};

TEST(Transport, TheTrajectoryHoldsTheLastPacketOfTheMaster)
{
  TestModel model;
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.1, 1, 0, 1});
  model.AddPencilBeam(0, 0, -5, 1);
  trelDiffuseVRMC run;
  auto* watcher = new TrajectoryWatcher;
  watcher->Register();
  watcher->Result = run.GetOutput();
  run.SetInput(model.Get());
  run.SetTrajectoryMode(true);
  run.AddDependent(watcher);
  ASSERT_TRUE(run.Update());
  EXPECT_EQ(run.GetOutput()->GetTrajectoryStepNum(), 0) << "reset at the end of the run";
  EXPECT_GT(watcher->Longest, 1);
  watcher->UnRegister();
}

TEST(Transport, RepeatsWithTheClockAndOneThread)
{
  double totals[2];
  for (double& total : totals) {
    TestModel model;
    model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.1, 1, 0.5, 1.4});
    model.AddPencilBeam(0, 0, -5, 500);
    total = Traced<trelDiffuseVRMC>(model)[0].GetTotalAbsorption3D();
  }
  EXPECT_EQ(totals[0], totals[1]);
  EXPECT_GT(totals[0], 0.0);
}
