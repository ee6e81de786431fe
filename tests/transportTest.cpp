#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "testModel.h"
#include "trelDiffuseVRMC.h"
#include "trelFresnel.h"
#include "trelPacketSteps.h"
#include "trelRandomStream.h"

/** Numbers of a fixed stream. */
class TransportTest : public testing::Test
{
protected:
  TransportTest() { Numbers.OpenStream(12345); }
  ~TransportTest() override { Numbers.CloseStream(); }

  /** Where a packet that travels along @p u is scattered to. */
  trelVector Scatter(trelVector u, double g)
  {
    Scatter3D(u, Numbers, g);
    EXPECT_NEAR(Dot(u, u), 1.0, 1e-12);
    return u;
  }
  Estimate MeanCosine(double g, const trelVector& u)
  {
    std::vector<double> cosines(20000);
    for (double& cosine : cosines)
      cosine = Dot(u, Scatter(u, g));
    return EstimateOf(cosines);
  }

  trelRandomNumbers Numbers{};
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

TEST_F(TransportTest, TheMeanCosineOfScatteringIsG)
{
  const trelVector directions[] = {{0, 0, 1}, {0, 0, -1}, {1, 0, 0}, {0.48, -0.6, 0.64}};
  for (const double g : {-1.0, -0.7, 0.0, 0.01, 0.75, 0.9, 1.0}) {
    for (const auto& u : directions) {
      // 5 sigma: one wrong alarm in 1.7 million; the stream is fixed all the same.
      const Estimate cosine = MeanCosine(g, u);
      EXPECT_NEAR(cosine.Mean, g, 5.0 * cosine.Error + 1e-7) << "g " << g << " u " << u.Z;
    }
  }
  const Estimate power = MeanCosine(0.77, directions[0]);
  EXPECT_GT(std::fabs(power.Mean - 0.75), 5.0 * power.Error) << "the test cannot tell 0.77";
}

TEST_F(TransportTest, TheAzimuthOfScatteringIsUniformAboutTheOldDirection)
{
  const trelVector u = {2.0 / 3, 1.0 / 3, 2.0 / 3};
  const trelVector side = {1.0 / 3, 2.0 / 3, -2.0 / 3}, up = {-2.0 / 3, 2.0 / 3, 1.0 / 3};
  const int n = 40000, bins = 16;
  int counts[bins] = {};
  for (int i = 0; i < n; ++i) {
    const trelVector d = Scatter(u, 0.5);
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
    const double turn = i < 8 ? ends[i] : Numbers.NextRandom();
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
  const trelVector n = {2.0 / 3, 1.0 / 3, 2.0 / 3}, side = {1.0 / 3, 2.0 / 3, -2.0 / 3};
  const trelVector u = 0.8 * n + 0.6 * side;
  EXPECT_NEAR(CosIncidence(u, n), 0.8, 1e-15);
  const trelVector refracted = Refract(u, n, std::asin(0.6 / 1.5));
  EXPECT_LT(Length(refracted - (std::sqrt(0.84) * n + 0.4 * side)), 1e-15);
  EXPECT_LT(Length(Reflect(refracted, n) - (0.4 * side - std::sqrt(0.84) * n)), 1e-15);
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

TEST_F(TransportTest, CellsOfACylinderFoundWithoutTheArcCosineAreThoseFoundWithIt)
{
  trelGridWindow window;
  window.Bins[GridR] = {0.0, 9.0, 0.5, 18};
  window.Bins[GridZ] = {-5.0, 5.0, 1.0, 10};
  int found = 0;
  const auto compare = [&](double x, double y, double z) {
    const double position[3] = {x, y, z};
    std::size_t cell = 0, expected = 0;
    if (!(IsFullRing(window.Bins[GridA]) ? LocateCylinderWithin<true>(window, position, &cell)
                                         : LocateCylinderWithin<false>(window, position, &cell)))
      return;
    ++found;
    ASSERT_TRUE((LocateCell<GridR, GridA, GridZ>(window, position, &expected))) << x << " " << y;
    ASSERT_EQ(cell, expected) << x << " " << y;
  };
  const trelGridBins turns[] = {{0.0, 360.0, 360.0, 1},  {0.0, 360.0, 10.0, 36},
                                {0.0, 360.0, 51.4, 7},   {5.0, 365.0, 360.0, 1},
                                {100.0, 200.0, 7.0, 14}, {0.0, 360.0, 0.01, 36000}};
  for (const trelGridBins& turn : turns) {
    window.Bins[GridA] = turn;
    found = 0;
    for (int i = 0; i < 50000; ++i) {
      const double angle = 2.0 * Pi * Numbers.NextRandom(), r = 10.0 * Numbers.NextRandom();
      compare(r * std::cos(angle), r * std::sin(angle), 12.0 * Numbers.NextRandom() - 6.0);
    }
    EXPECT_GT(found, 9000) << turn.Separation;
    for (const double d : {0.0, 1e-300, 1e-160, 1e-18, 1e-9, 3e-6, -1e-12, -1e-6, -1e-5, -1e-4}) {
      for (int border = 0; border <= 360; ++border) {
        const double angle = border * RadiansPerDegree + d;
        for (const double r : {2.3, d})
          compare(r * std::cos(angle), r * std::sin(angle), 0.0);
      }
    }
  }
}

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
    Model->PrepareGeometry();
    EXPECT_TRUE(Result.Initialize(Model.Get()));
    Transport.Resolve(*Model.Get());
    Tables.Resolve(Result, *Model.Get(), Transport.MediumShapeType);
    Scores.SpectrumMediumResult = Result.GetMediumResult(0);
    Scores.Grids = Tables.GetMedium(0);
    Scores.OneThread = true;
    PlaceAt(0.0, 0);
    Packet.SourceWeight = 2.0;
  }

  /** A fresh packet on the x axis, on its way up. */
  void PlaceAt(double x, int tissue)
  {
    Packet = {};
    Packet.Weight = 1.0;
    Packet.Position.X = x;
    Packet.Direction.X = 1.0;
    Transport.PlaceIn(tissue, Packet);
  }
  /** What becomes of a step of @p length along x. */
  trelCrossing Cross(double length)
  {
    Packet.StepSize = length;
    return trelShapeGeometry::FindCrossing(Transport, Packet.GetEnd(), Packet);
  }
  trelBoundaryTurn Resolve() { return ResolveBoundary(Packet, Numbers, Transport); }

  TestModel Model;
  trelSimulationResult Result;
  trelScoreTables Tables;
  trelTransportModel Transport;
  trelPacketScores Scores{};
  trelPacket Packet{};
};

TEST_F(StepTest, TheRestOfACutStepIsWalkedWithTheCoefficientsBehindTheBoundary)
{
  PlaceAt(-5.0, 0);
  ASSERT_EQ(Cross(4.0), MeetsBoundary);
  EXPECT_EQ(Packet.Boundary.NextTissue, 1);
  EXPECT_DOUBLE_EQ(Packet.StepSize, 3.0);
  EXPECT_DOUBLE_EQ(Packet.StepLeft, 5.0);
  EXPECT_DOUBLE_EQ(Packet.Boundary.Hit.Normal.X, 1.0) << "the normal points along the travel";
  Transport.PlaceIn(1, Packet);
  const int before = Numbers.RandomIndex;
  NewStep(Packet, Numbers);
  EXPECT_DOUBLE_EQ(Packet.StepSize, 5.0);
  EXPECT_EQ(Packet.StepLeft, 0.0);
  EXPECT_EQ(Numbers.RandomIndex, before) << "no number is drawn for the rest";
}

TEST_F(StepTest, APacketThatIsInAnotherTissueWithoutABoundaryGoesOnThere)
{
  // It takes itself for one in the outermost tissue, but starts within the inner one, which a ray
  // that enters does not meet.
  Packet.StepLeft = 5.0;
  TakeStep<trelShapeGeometry, trelClassicRules>(Packet, Numbers, Transport, Scores);
  EXPECT_EQ(Packet.TissueIndex, 1);
  EXPECT_DOUBLE_EQ(Packet.Position.X, 1.0);
  EXPECT_DOUBLE_EQ(Packet.FlyTime, 1.5 * 10 / 3) << "by the index of the tissue that it is in";
  EXPECT_DOUBLE_EQ(Packet.Weight, 0.9) << "which takes its share";
  EXPECT_FALSE(Packet.Dead);
  // And one that is outside ends, counted but not scored.
  PlaceAt(11.0, 0);
  TakeStep<trelShapeGeometry, trelClassicRules>(Packet, Numbers, Transport, Scores);
  EXPECT_TRUE(Packet.Dead);
  EXPECT_EQ(Packet.TissueIndex, -1);
  EXPECT_EQ(Scores.SpectrumMediumResult->GetTransmitPhotonNum(), 1);
}

TEST_F(StepTest, ABoundaryDrawsOneNumberUnlessTheIndicesAreEqual)
{
  Packet.Boundary.Hit.Normal.X = 1.0;
  Packet.Boundary.NextTissue = -1;
  Resolve();
  EXPECT_EQ(Numbers.RandomIndex, 1);
  Packet.Direction = {0.1, std::sqrt(0.99), 0.0};  // total reflection
  EXPECT_EQ(Resolve(), BoundaryReflects);
  EXPECT_EQ(Numbers.RandomIndex, 2);
  Packet.Boundary.TransmitAngle = 0.25;
  Packet.Boundary.NextTissue = 0;
  EXPECT_EQ(Resolve(), BoundaryTransmits);
  EXPECT_EQ(Numbers.RandomIndex, 2);
  EXPECT_EQ(Packet.Boundary.TransmitAngle, 0.25) << "kept for the next boundary of equal indices";
}

TEST_F(StepTest, RouletteSparesTheThresholdAndTheDead)
{
  Packet.Weight = 0.0001;
  Roulette(Packet, Numbers, Transport, Scores);
  Packet.Weight = 1e-9;
  Packet.Dead = true;
  Roulette(Packet, Numbers, Transport, Scores);
  EXPECT_EQ(Numbers.RandomIndex, 0);
  Numbers.RandomBlock[0] = 0.1;  // exactly the limit loses
  Packet.Dead = false;
  Roulette(Packet, Numbers, Transport, Scores);
  EXPECT_TRUE(Packet.Dead);
  EXPECT_EQ(Packet.Weight, 0.0);
  EXPECT_EQ(Scores.SpectrumMediumResult->GetAbsorpPhotonNum(), 1);
  Numbers.RandomBlock[1] = 0.0999;
  Packet.Dead = false;
  Packet.Weight = 5e-5;
  Roulette(Packet, Numbers, Transport, Scores);
  EXPECT_DOUBLE_EQ(Packet.Weight, 5e-4);
}

TEST_F(StepTest, TissueOfExactlyTheLimitDoesNotInteract)
{
  PlaceAt(0.0, 2);
  NewStep(Packet, Numbers);
  EXPECT_EQ(Packet.StepSize, 0.5);
  ::Scatter(Packet, Numbers, Transport, Scores);
  EXPECT_EQ(Packet.Weight, 1.0);
  EXPECT_EQ(Numbers.RandomIndex, 0);
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

/** Takes its steps one by one through the operation by name, and so through the thread's state. */
class SteppingVRMC final : public trelDiffuseVRMC
{
  trelTypeMacro(SteppingVRMC, trelDiffuseVRMC)

protected:
  void TraceAnalytic(trelPacket& packet, ThreadState& state) override
  {
    do {
      state.StorePacket(packet);
      StepAnalytic(&state);
      packet = state.LoadPacket();
    } while (EndStep(packet, Model, state));
  }
};

/** The weight absorbed in a body with an inner tissue of its own index and one of another. */
template <class Filter>
static double AbsorbedInNestedCubes()
{
  TestModel model;
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.1, 1, 0.5, 1.4});
  model.AddTissue(TestModel::Make<trelCube>({0, 0, -2}, {2, 2, 1}), {0.2, 2, 0.9, 1.4});
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 2}, {2, 2, 1}), {0.2, 2, 0.9, 1.6});
  model.AddPencilBeam(0, 0, -5, 500);
  return Traced<Filter>(model)[0].GetTotalAbsorption3D();
}

TEST(Transport, RepeatsWithTheClockAndOneThreadAlsoStepByStep)
{
  const double total = AbsorbedInNestedCubes<trelDiffuseVRMC>();
  EXPECT_GT(total, 0.0);
  EXPECT_EQ(AbsorbedInNestedCubes<trelDiffuseVRMC>(), total);
  EXPECT_EQ(AbsorbedInNestedCubes<SteppingVRMC>(), total);
}
