#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "testModel.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelDiffuseVRMC.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelOpticalSimulationFilter.h"
#include "trelPlaneDetector.h"

// The same body as analytic shapes, as triangles and as tetrahedra.

static const Optics Outer = {0.1, 1.0, 0.8, 1.4}, Inner = {0.3, 2.0, 0.5, 1.5};

/** A new mesh from a file of this text, held by whoever it is given to. */
template <class Mesh>
static Mesh* Load(const std::string& ending, const std::string& text)
{
  const auto path = std::filesystem::temp_directory_path() /
                    ("trel-run-" + std::to_string(std::hash<std::string>{}(text)) + "." + ending);
  std::ofstream(path) << text;
  auto* mesh = new Mesh;
  EXPECT_TRUE(mesh->LoadFromFile(path.c_str()));
  std::filesystem::remove(path);
  return mesh;
}

/** A cube of half-length `h` about the origin, n x n squares of two triangles on each face, as OFF.
 */
static std::string CubeOff(double h, int n)
{
  const int perFace = (n + 1) * (n + 1);
  std::ostringstream off;
  off << "OFF\n" << 6 * perFace << " " << 12 * n * n << " 0\n";
  for (int face = 0; face < 6; ++face) {
    for (int k = 0; k < perFace; ++k) {
      double p[3];
      p[face / 2] = face % 2 ? h : -h;
      p[(face / 2 + 1) % 3] = h * (2.0 * (k / (n + 1)) / n - 1.0);
      p[(face / 2 + 2) % 3] = h * (2.0 * (k % (n + 1)) / n - 1.0);
      off << p[0] << " " << p[1] << " " << p[2] << "\n";
    }
  }
  for (int k = 0; k < 6 * n * n; ++k) {
    const int square = k % (n * n);
    const int a = k / (n * n) * perFace + square / n * (n + 1) + square % n;
    const bool outward = k / (n * n) % 2 == 1;
    const int b = outward ? a + n + 1 : a + 1, c = a + n + 2, d = outward ? a + 1 : a + n + 1;
    off << "3 " << a << " " << b << " " << c << "\n3 " << a << " " << c << " " << d << "\n";
  }
  return off.str();
}

/** A ball of the volume of a unit ball times `radius` cubed: rings of triangles by latitude, as
 * OFF. */
static std::string BallOff(double radius, int rings)
{
  // An inscribed polyhedron of these rings is too small; it is blown up to the ball's volume.
  const int around = 2 * rings;
  const double slice = Pi / rings, sector = 2 * Pi / around;
  double volume = 0.0;
  for (int i = 0; i < rings; ++i) {
    const double a = std::sin(i * slice), b = std::sin((i + 1) * slice);
    const double height = std::cos(i * slice) - std::cos((i + 1) * slice);
    volume += around * 0.5 * std::sin(sector) * height * (a * a + a * b + b * b) / 3.0;
  }
  const double r = radius * std::cbrt(4.0 / 3.0 * Pi / volume);
  std::ostringstream off;
  off << "OFF\n" << 2 + (rings - 1) * around << " " << 2 * around * (rings - 1) << " 0\n";
  off << "0 0 " << r << "\n0 0 " << -r << "\n";
  for (int i = 1; i < rings; ++i) {
    for (int j = 0; j < around; ++j) {
      off << r * std::sin(i * slice) * std::cos(j * sector) << " "
          << r * std::sin(i * slice) * std::sin(j * sector) << " " << r * std::cos(i * slice)
          << "\n";
    }
  }
  const auto at = [&](int i, int j) { return 2 + (i - 1) * around + (j % around); };
  for (int j = 0; j < around; ++j) {
    off << "3 0 " << at(1, j) << " " << at(1, j + 1) << "\n";
    off << "3 1 " << at(rings - 1, j + 1) << " " << at(rings - 1, j) << "\n";
    for (int i = 1; i + 1 < rings; ++i) {
      off << "3 " << at(i, j) << " " << at(i + 1, j) << " " << at(i + 1, j + 1) << "\n";
      off << "3 " << at(i, j) << " " << at(i + 1, j + 1) << " " << at(i, j + 1) << "\n";
    }
  }
  return off.str();
}

/** A cube of half-length 2 in one of 5, as a MESH file: boxes of 1 mm, each of six tetrahedra. */
static std::string CubeInCubeMesh()
{
  constexpr int n = 10, side = n + 1;
  std::ostringstream mesh;
  mesh << side * side * side << "\n";
  for (int k = 0; k < side * side * side; ++k) {
    mesh << k / (side * side) - 5 << " " << k / side % side - 5 << " " << k % side - 5 << "\n";
  }
  mesh << 6 * n * n * n << "\n";
  const int steps[3] = {side * side, side, 1};
  const int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  const auto isInner = [](int i) { return 3 <= i && i < 7; };
  for (int cell = 0; cell < n * n * n; ++cell) {
    const int i = cell / (n * n), j = cell / n % n, k = cell % n;
    for (const auto& order : orders) {
      int corner = 1 + i * steps[0] + j * steps[1] + k;
      mesh << (isInner(i) && isInner(j) && isInner(k) ? 2 : 1) << " " << corner;
      for (const int axis : order)
        mesh << " " << (corner += steps[axis]);
      mesh << "\n";
    }
  }
  return mesh.str();
}

/** How a body is made; each has the same source, a ball of light at its centre. */
using Build = void (*)(TestModel& model);

static void BuildCubes(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), Outer);
  m.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {2, 2, 2}), Inner);
}

static void BuildMeshInCube(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), Outer);
  m.AddTissue(Load<trelMCTriangleMesh>("off", CubeOff(2, 1)), Inner);
}

static void BuildMeshes(TestModel& m)
{
  m.AddTissue(Load<trelMCTriangleMesh>("off", CubeOff(5, 10)), Outer);
  m.AddTissue(Load<trelMCTriangleMesh>("off", CubeOff(2, 1)), Inner);
}

static void BuildTetrahedra(TestModel& m)
{
  m->GetMedium()->SetShapeIsTetrahedron(true);
  m->GetMedium()->SetTetrahedron(Load<trelMCTetrahedron>("mesh", CubeInCubeMesh()));
  m.AddTissue(nullptr, Outer);
  m.AddTissue(nullptr, Inner);
}

static void BuildBall(TestModel& m)
{
  m.AddTissue(TestModel::Make<trelEllipsoid>({0, 0, 0}, {4, 4, 4}), Outer);
  m->SetTransmittanceCoordinate(CoordinateSpherical);
}

static void BuildMeshedBall(TestModel& m)
{
  m.AddTissue(Load<trelMCTriangleMesh>("off", BallOff(4, 24)), Outer);
}

static Estimate Absorbed(Build build)
{
  const auto model = [build](TestModel& m) {
    build(m);
    m.AddSource(TestModel::Make<trelEllipsoid>({0, 0, 0}, {1, 1, 1}), 120);
    m->SetSeparations(1, 1, 1, 1, 30, 30);
  };
  const auto absorbed = [](const trelMediumResult& r) {
    EXPECT_NEAR(r.GetTotalAbsorption3D() + r.GetTotalTransmittance3D(), 1.0, 5e-3);
    return r.GetTotalAbsorption3D();
  };
  return EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, model, absorbed));
}

TEST(MeshRun, ABodyAbsorbsAlikeInAnyForm)
{
  const struct
  {
    const char* Name;
    Build Meshed, Analytic;
    double MeshingError;
  } cases[] = {{"cube of triangles in a cube", BuildMeshInCube, BuildCubes, 0.0},
               {"cube of triangles in one of triangles", BuildMeshes, BuildCubes, 0.0},
               {"tetrahedra", BuildTetrahedra, BuildCubes, 0.0},
               {"ball of triangles", BuildMeshedBall, BuildBall, 0.004}};
  for (const auto& c : cases) {
    const Estimate meshed = Absorbed(c.Meshed), analytic = Absorbed(c.Analytic);
    EXPECT_NEAR(meshed.Mean, analytic.Mean,
                5.0 * std::hypot(meshed.Error, analytic.Error) + c.MeshingError)
        << c.Name;
  }
}

/** The light in the image of a camera that looks at the cube along -x, per mm^2 of a surface
 * element, whose area is a factor of every pixel. */
static Estimate Imaged(Build build, double area)
{
  std::vector<double> totals;
  for (int batch = 0; batch < 8; ++batch) {
    const FixedClock clock(1000003 + 7919 * batch);
    GetThreadState() = ThreadState{};
    TestModel model(DOT);
    build(model);
    model.AddSource(TestModel::Make<trelEllipsoid>({0, 0, 0}, {1, 1, 1}), 1500);
    model->SetSeparations(1, 1, 1, 1, 30, 30);
    auto* camera = new trelPlaneDetector;
    camera->SetCenter(240, 0, 0);
    camera->SetNormal(-1, 0, 0);
    camera->SetVerticalPlane(PlaneXY);
    camera->SetSize(10, 10);
    camera->SetResolution(40, 40);
    camera->SetImageDistance(122.0);  // the object plane lies 13 mm in front of the cube
    model->AddDetector(camera);
    trelOpticalSimulationFilter filter;
    filter.SetInput(model.Get());
    EXPECT_TRUE(filter.Update());
    totals.push_back(
        filter.GetOutput()->GetDetectorArrayResult(0)->GetDetectorResult(0)->GetTotalDetection() /
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
