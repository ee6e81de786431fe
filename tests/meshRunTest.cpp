#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "meshSamples.h"
#include "testModel.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelDiffuseVRMC.h"
#include "trelFiberDetector.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelOpticalSimulationFilter.h"
#include "trelPacketSteps.h"
#include "trelPlaneDetector.h"

// The same body as analytic shapes, as triangles and as tetrahedra. All lie about (5, 5, 5).

static const Optics Outer = {0.1, 1.0, 0.8, 1.4}, Inner = {0.3, 2.0, 0.5, 1.5};

/** How a body is made; each has the same source, a ball of light at its centre. */
using Build = void (*)(TestModel& model);

/** The surface moved to the centre of the bodies. */
static trelMCTriangleMesh* Center(const SurfacePointer& surface)
{
  for (int i = 0; i < 6 * surface->GetNumberOfVertices(); ++i)
    if (i % 6 < 3) surface->GetVertexData()[i] += 5;
  auto* mesh = new trelMCTriangleMesh;
  EXPECT_TRUE(mesh->ImportMesh(surface.get()));
  return mesh;
}

static trelMCTriangleMesh* MeshCube(double h, int n)
{
  return Center(MovedCube(n, [h](const Point& p) { return Point{h * p[0], h * p[1], h * p[2]}; }));
}

static void BuildCubes(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelCube>({5, 5, 5}, {5, 5, 5}), Outer);
  m.AddTissue(TestModel::Make<trelCube>({5, 5, 5}, {2, 2, 2}), Inner);
}

static void BuildMeshInCube(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelCube>({5, 5, 5}, {5, 5, 5}), Outer);
  m.AddTissue(MeshCube(2, 1), Inner);
}

static void BuildMeshes(TestModel& m)
{
  m.AddTissue(MeshCube(5, 10), Outer);
  m.AddTissue(MeshCube(2, 1), Inner);
}

static void BuildTetrahedra(TestModel& m)
{
  CubeGrid grid({{10, 10, 10}});
  auto* mesh = new trelMCTetrahedron;
  EXPECT_TRUE(grid.BuildCore(10, 3, 7) && mesh->ImportMesh(&grid.Mesh));
  m->GetMedium()->SetShapeIsTetrahedron(true);
  m->GetMedium()->SetTetrahedron(mesh);
  m.AddTissue(nullptr, Outer);
  m.AddTissue(nullptr, Inner);
  m->GetMedium()->SetOutermostTissueIndex(1);  // means nothing to a mesh
}

static void BuildBall(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelEllipsoid>({5, 5, 5}, {4, 4, 4}), Outer);
  m->SetTransmittanceCoordinate(CoordinateSpherical);
}

static void BuildMeshedBall(TestModel& m)
{
  m.AddTissue(Center(Sphere(4, 24)), Outer);
}

static Estimate Absorbed(Build build)
{
  const auto model = [build](TestModel& m) {
    build(m);
    m.AddSource(TestModel::Make<trelEllipsoid>({5, 5, 5}, {1, 1, 1}), 360);
    m->SetSeparations(1, 1, 1, 1, 30, 30);
  };
  const auto absorbed = [](const trelMediumResult& r) {
    EXPECT_NEAR(Light(r), 1.0, 5e-3);
    return r.GetTotalAbsorption3D();
  };
  // Few, since each builds the look-up of its meshes, which takes longer than the packets.
  return EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, model, absorbed, 8));
}

TEST(MeshRun, ABodyAbsorbsAlikeInAnyForm)
{
  const Estimate cubes = Absorbed(BuildCubes), ball = Absorbed(BuildBall);
  const struct
  {
    const char* Name;
    Build Meshed;
    Estimate Analytic;
    double MeshingError;
  } cases[] = {{"cube of triangles in a cube", BuildMeshInCube, cubes, 0.0},
               {"cube of triangles in one of triangles", BuildMeshes, cubes, 0.0},
               {"tetrahedra", BuildTetrahedra, cubes, 0.0},
               {"ball of triangles", BuildMeshedBall, ball, 0.004}};
  for (const auto& c : cases) {
    const Estimate meshed = Absorbed(c.Meshed);
    EXPECT_NEAR(meshed.Mean, c.Analytic.Mean,
                5.0 * std::hypot(meshed.Error, c.Analytic.Error) + c.MeshingError)
        << c.Name;
  }
}

/** The light in the image of a camera that looks at the cube along -x, per mm^2 of a surface
 * element, whose area is a factor of every pixel. */
static Estimate Imaged(Build build, double area)
{
  std::vector<double> totals;
  for (int batch = 0; batch < 8; ++batch) {
    TestModel model;
    build(model);
    model.AddSource(TestModel::Make<trelEllipsoid>({5, 5, 5}, {1, 1, 1}), 1500);
    model->SetSeparations(1, 1, 1, 1, 30, 30);
    auto* camera = new trelPlaneDetector;
    camera->SetCenter(245, 5, 5);
    camera->SetNormal(-1, 0, 0);
    camera->SetVerticalPlane(PlaneXY);
    camera->SetSize(10, 10);
    camera->SetResolution(40, 40);
    camera->SetImageDistance(122.0);  // the object plane lies 13 mm in front of the cube
    model->AddDetector(camera);
    Traced<trelOpticalSimulationFilter> run(model, batch);
    totals.push_back(run->GetDetectorArrayResult(0)->GetDetectorResult(0)->GetTotalDetection() /
                     area);
  }
  return EstimateOf(totals);
}

TEST(MeshRun, ACameraSeesAlikeInAnyForm)
{
  // Cells of 1 mm^2 on the analytic cube, two triangles for each on the meshed ones.
  const Estimate cubes = Imaged(BuildCubes, 1.0);
  EXPECT_GT(cubes.Mean, 20.0 * cubes.Error);
  for (const Build build : {BuildMeshes, BuildTetrahedra}) {
    const Estimate meshed = Imaged(build, 0.5);
    // The centre of a triangle lies a quarter of a millimetre from that of its cell, 13 mm away.
    EXPECT_NEAR(meshed.Mean, cubes.Mean,
                5.0 * std::hypot(meshed.Error, cubes.Error) + 0.01 * cubes.Mean);
  }
}

/** What a fibre holds after a run whose packets all start within it. */
static Estimate Collected(Build build, SimulationType type, LuminousType luminous, int threads,
                          int batches)
{
  std::vector<double> totals;
  for (int batch = 0; batch < batches; ++batch) {
    TestModel model(type);
    build(model);
    model.AddSource(TestModel::Make<trelEllipsoid>({5, 5, 5}, {1, 1, 1}), 450, luminous);
    model->SetSeparations(1, 1, 1, 1, 30, 30);
    model->SetThreadNumber(threads);
    auto* fiber = new trelFiberDetector;
    fiber->SetShape(TestModel::Make<trelEllipsoid>({5, 5, 5}, {3, 3, 3}));
    model->AddDetector(fiber);
    Traced<trelOpticalSimulationFilter> run(model, batch);
    totals.push_back(run->GetDetectorArrayResult(0)->GetDetectorResult(0)->GetFiberTotal3D());
    EXPECT_EQ(run[0].GetTransmitPhotonNum(), 0) << "the packet ends there, scored or not";
    // Roulette moves less than a ten-thousandth.
    const double entered = 1.0 - run[0].GetTotalAbsorption3D();
    EXPECT_NEAR(totals.back(), totals.back() > 0.0 ? entered : 0.0, 2e-4);
    EXPECT_GT(entered, 0.2);
  }
  return EstimateOf(totals);
}

TEST(MeshRun, AFiberRoundTheSourceScoresWhatItDoesNotMeetInTetrahedraOnly)
{
  // From inside the ellipsoid's surface is never found on the way.
  const struct
  {
    Build Medium;
    SimulationType Type;
    LuminousType Luminous;
    bool IsScored;
  } cases[] = {{BuildTetrahedra, DOT, LuminousDiffuse, true},
               {BuildTetrahedra, BLT, LuminousBioluminescence, true},
               {BuildTetrahedra, FMT, LuminousExcitation, false},
               {BuildCubes, DOT, LuminousDiffuse, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const int batches = c.IsScored ? 8 : 2;
    const Estimate one = Collected(c.Medium, c.Type, c.Luminous, 1, batches);
    const Estimate two = Collected(c.Medium, c.Type, c.Luminous, 2, batches);
    EXPECT_EQ(one.Mean > 0.0, c.IsScored);
    EXPECT_NEAR(two.Mean, one.Mean, 5.0 * std::hypot(one.Error, two.Error));
  }
}

/** Five tissues in a mesh whose file is missing. */
static void BuildMissingMesh(TestModel& m)
{
  auto* mesh = new trelMCTetrahedron;
  EXPECT_FALSE(mesh->LoadFromFile("there is no such.mesh"));
  m->GetMedium()->SetShapeIsTetrahedron(true);
  m->GetMedium()->SetTetrahedron(mesh);
  for (int i = 0; i < 5; ++i)
    m.AddTissue(nullptr, Outer);
}

TEST(MeshRun, PacketsThatCannotBeLaunchedAreCountedAndReported)
{
  const struct
  {
    Build Medium;
    bool IsInternal;
  } cases[] = {{BuildCubes, true}, {BuildMissingMesh, true}, {BuildMissingMesh, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    testing::internal::CaptureStderr();
    TestModel model;
    c.Medium(model);
    model.AddSource(TestModel::Make<trelCube>({50, 0, 0}, {1, 1, 1}), 300)
        ->SetInternal(c.IsInternal);
    Traced<trelDiffuseVRMC> run(model);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("300 of 300 packets could not be launched"));
    EXPECT_EQ(run[0].GetTransmitPhotonNum() + run[0].GetAbsorpPhotonNum(), 0);
    EXPECT_EQ(Light(run[0]), 0.0);
  }
}

/** Keeps how each packet ends. With @p plain steps it traces as its base does, else by the loop
 * that can be asked after each step, and so has none. */
template <bool plain>
class EndsVRMC final : public trelDiffuseVRMC
{
  trelTypeMacro(EndsVRMC, trelDiffuseVRMC)

public:
  inline static std::vector<double> Ends;

protected:
  void TraceAnalytic(trelPacket& p, ThreadState& state) override
  {
    plain ? trelDiffuseVRMC::TraceAnalytic(p, state)
          : TakeSteps<trelShapeGeometry, trelClassicRules>(p, state, Model, state, [] {});
    Keep(p, state);
  }
  void TraceTetrahedral(trelPacket& p, ThreadState& state) override
  {
    using Rules = trelClassicTetrahedralRules;
    plain ? trelDiffuseVRMC::TraceTetrahedral(p, state)
          : TakeSteps<trelTetrahedralGeometry, Rules>(p, state, Model, state, [] {});
    Keep(p, state);
  }

private:
  static void Keep(const trelPacket& p, const ThreadState& state)
  {
    const double end[] = {p.Position.X,
                          p.Position.Y,
                          p.Position.Z,
                          p.Direction.X,
                          p.Direction.Y,
                          p.Direction.Z,
                          p.Weight,
                          p.PathLength,
                          p.FlyTime,
                          p.StepSize,
                          p.StepLeft,
                          double(p.StepCount),
                          double(p.TissueIndex),
                          p.Boundary.IndexNext,
                          double(state.RandomIndex)};
    Ends.insert(Ends.end(), std::begin(end), std::end(end));
  }
};

/** A model of any kind of body, grid, domains and limits, by the streams of a number. */
static void BuildAny(TestModel& m, unsigned number)
{
  std::mt19937 stream(number);
  const auto among = [&](std::initializer_list<double> values) {
    return values.begin()[stream() % values.size()];
  };
  const auto optics = [&] {
    const double g = among({0.0, 0.01, 0.9, -0.5, 1.0});
    return Optics{among({0.0, 0.05, 2.0}), among({0.02, 1.0, 10.0}), g, among({1.3, 1.4, 1.5})};
  };
  if (number % 4 == 0) {
    BuildTetrahedra(m);
  } else if (number % 4 == 1) {
    BuildMeshInCube(m);
  } else {
    const ShapeType kinds[] = {ShapeCube, ShapeCylinder, ShapeEllipsoid};
    m.AddTissue(MakeShape(kinds[stream() % 3], {5, 5, 5}, {6, 5, 5}), optics());
    m.AddTissue(MakeShape(kinds[stream() % 3], {5, 4, 6}, {2, 1, 2}), optics());
    m.AddTissue(MakeShape(kinds[stream() % 3], {6, 6, 4}, {2, 1, 1}), optics());
  }
  if (stream() % 2) m->SetAbsorptionCoordinate(CoordinateCylindrical);
  m->SetSeparations(0.7, among({1.0, 30.0}), 1.3, 0.6, among({360.0, 10.0, 51.4, 0.5}), 30);
  m->SetContinuousWave(stream() % 4 != 0);
  m->SetTimeDomain(stream() % 4 == 0);
  m->SetFrequencyDomain(stream() % 4 == 0);
  m->SetTimeRange(0, 100, 10);
  m->SetFrequency(200);
  m->SetSaveAbsorption(stream() % 8 != 0);
  m->SetStepNumberMax(stream() % 3 ? 1000000 : 29);
  m->SetFlyTimeMax(among({50, 1e6, 1e6}));
  // Along the axis of the cells, or from a ball.
  stream() % 2 ? m.AddPencilBeam(5, 5, 0, 200)
               : m.AddSource(MakeShape(ShapeEllipsoid, {5, 5, 5}, {1, 1, 1}), 200);
}

/** The ends of its packets, and all cells. */
template <bool plain>
static std::vector<double> RunToTheEnds(unsigned number)
{
  std::vector<double>& ends = EndsVRMC<plain>::Ends;
  ends.clear();
  TestModel model;
  BuildAny(model, number);
  Traced<EndsVRMC<plain>> run(model);
  EXPECT_GT(ends.size(), 1000u);
  for (int i = 0; i < static_cast<int>(NumberOfGridDomains) * static_cast<int>(NumberOfGrids);
       ++i) {
    const auto domain = trelGridDomain(i / NumberOfGrids);
    const trelGrid* grid = run[0].GetGrid(domain, trelGridId(i % NumberOfGrids));
    if (grid)
      ends.insert(ends.end(), grid->GetCells(), grid->GetCells() + grid->GetNumberOfCells());
  }
  return ends;
}

TEST(MeshRun, PlainStepsAreThoseOfTheGeneralLoopToTheLastBit)
{
  for (unsigned number = 0; number < 60; ++number) {
    const auto ends = RunToTheEnds<true>(number), expected = RunToTheEnds<false>(number);
    ASSERT_EQ(ends.size(), expected.size()) << number;
    EXPECT_EQ(std::memcmp(ends.data(), expected.data(), ends.size() * sizeof(double)), 0) << number;
  }
}
