#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "exactRuns.h"

// The exact rules where geometry is at its worst: on vertices, edges and faces, along tangents, in
// tissues that are thin, many, concave or of needles. No packet may get lost, and each must know
// its tissue.

namespace {

constexpr Optics air = {0.0, 0.0, 0.0, 1.0};

std::uint32_t Many(std::uint32_t packets)
{
  const char* const times = std::getenv("TREL_BATCHES");
  return packets * static_cast<std::uint32_t>(times ? std::max(std::atoi(times), 1) : 1);
}

/** Looks at each step whether the packet knew the tissue of what it passed, away from surfaces. */
class TissueWatch
{
public:
  explicit TissueWatch(const ExactFlights& flights) : Map(flights.GetModel().Map) {}
  void operator()(const trelExactPacket& before, const trelExactPacket& after)
  {
    const trelVector middle = 0.5 * (before.Position + after.Position);
    if (before.TissueIndex == Inner) Chord += Length(after.Position - before.Position);
    if (Map.FindTissue(middle) == before.TissueIndex) return;
    if (Map.BoundDistance(middle) > 1e-5) ++Wrong;
  }

  int Inner = 1;
  double Chord = 0.0;  ///< path in the tissue Inner
  int Wrong = 0;

private:
  const trelTissueMap& Map;
};

/** A body in a box of 20 mm, all of it clear and of one index, so that light goes straight on. */
ModelOf InAir(const std::function<trelShapeObject*()>& make, const Optics& optics = air,
              std::uint32_t packets = 100)
{
  return [=](TestModel& m) {
    m.AddTissue(Box(0, 0, 0, 10, 10, 10), air);
    m.AddTissue(make(), optics);
    m.AddSource(Box(0, 0, 0, 9, 9, 9), packets);
  };
}

/** A ray, and how much of it may lie in the body. */
struct HardRay
{
  const char* Name;
  trelVector From, Along;
  double Least, Most;
};

const double root2 = std::sqrt(2.0), root3 = std::sqrt(3.0);

/** About the cube [-2, 2]^3. */
const HardRay raysAtCube[] = {
    {"through two vertices", {-5, -5, -5}, {1, 1, 1}, 4 * root3, 4 * root3},
    {"from a vertex", {-2, -2, -2}, {1, 1, 1}, 4 * root3, 4 * root3},
    {"past a vertex", {-2, 2, 8}, {1, 1, -6}, 0, 0},
    {"touching a vertex", {2 - 3, 2 + 3, 2}, {1, -1, 0}, 0, 0},
    {"along an edge", {2, 2, -8}, {0, 0, 1}, 0, 4},
    {"in a face", {2, 0.3, -8}, {0, 0, 1}, 0, 4},
    {"along the diagonal of a face", {2, -5, -5}, {0, 1, 1}, 0, 4 * root2},
    {"through two edges", {-5, -5, 0.3}, {1, 1, 0}, 4 * root2, 4 * root2},
    {"touching an edge", {-1, 5, 0.3}, {1, -1, 0}, 0, 0},
    {"through the diagonals of two faces", {0, 0, -8}, {0, 0, 1}, 4, 4},
    {"off the diagonals", {0.5, -0.25, -8}, {0, 0, 1}, 4, 4},
};

/** About a ball of radius 2 mm. */
const HardRay raysAtBall[] = {
    {"tangent", {2, 0, -8}, {0, 0, 1}, 0, 0},
    {"nearly tangent from the surface", {2, 0, 0}, {1e-3, 0.6, 0.8}, 0, 0},
    {"from the surface inwards", {0, 0, -2}, {0, 0, 1}, 4, 4},
    {"from the surface outwards", {0, 0, 2}, {0, 0, 1}, 0, 0},
    {"from the centre", {0, 0, 0}, {0.6, 0, 0.8}, 2, 2},
};

/** About the U. */
const HardRay raysAtU[] = {
    {"across both arms", {-9, 0, 2}, {1, 0, 0}, 8, 8},
    {"along the bottom of the dent", {-9, 0.5, 0}, {1, 0, 0}, 8, 12},
    {"down the wall of the dent", {2, 0.5, 9}, {0, 0, -1}, 4, 8},
    {"through the edges of the dent", {-2 - 4, 0.5, 4 + 4}, {1, 0, -1}, 4 * root2, 4 * root2},
    {"along the edge of the dent", {-2, -9, 0}, {0, 1, 0}, 0, 8},
    {"along the inner edge of an arm", {-2, -9, 4}, {0, 1, 0}, 0, 8},
};

/** Flies each ray as it is and with small changes of place and direction. */
template <std::size_t N>
void CheckRays(const char* name, const std::function<trelShapeObject*()>& make,
               const HardRay (&rays)[N])
{
  ExactFlights flights(InAir(make));
  std::mt19937 random(1);
  std::uniform_real_distribution<> uniform(-1.0, 1.0);
  for (const HardRay& ray : rays) {
    for (const double change : {0.0, 1e-16, 1e-14, 1e-12, 1e-10, 1e-8}) {
      for (int i = 0; i < (change > 0.0 ? 20 : 1); ++i) {
        trelRay moved = {ray.From, Normalized(ray.Along)};
        for (int a = 0; a < 3; ++a) {
          moved.Origin[a] += change * uniform(random);
          moved.Direction[a] += change * uniform(random);
        }
        moved.Direction = Normalized(moved.Direction);
        TissueWatch watch(flights);
        const Flight flight = flights.FlyAlong(moved, std::ref(watch));
        // The chord of what is touched grows with the root of the change.
        const double slack = 1e-5 + 20.0 * std::sqrt(change);
        EXPECT_GE(watch.Chord, ray.Least - slack) << name << " " << ray.Name << " " << change;
        EXPECT_LE(watch.Chord, ray.Most + slack) << name << " " << ray.Name << " " << change;
        EXPECT_EQ(watch.Wrong, 0) << name << " " << ray.Name << " " << change;
        const trelVector way = flight.Position - moved.Origin;
        EXPECT_LT(Length(way - Dot(way, moved.Direction) * moved.Direction), 1e-13);
        EXPECT_NEAR(std::max({std::fabs(flight.Position.X), std::fabs(flight.Position.Y),
                              std::fabs(flight.Position.Z)}),
                    10.0, 1e-12)
            << name << " " << ray.Name;
      }
    }
  }
  EXPECT_EQ(flights.GetLedger().CountPackets(LedgerLost) +
                flights.GetLedger().CountPackets(LedgerTrapped),
            0u)
      << name;
}

/** The surface of a ball whose points lie in turn at @p radius and at @p core: needles. */
trelShapeObject* MakeNeedles(double radius, double core, int n)
{
  const SurfacePointer surface = MovedCube(n, [&](const Point& p) {
    int parity = 0;
    for (const double c : p)
      parity += static_cast<int>(std::lround((c + 1.0) * n / 2.0));
    const double scale = (parity % 2 ? radius : core) / std::hypot(p[0], p[1], p[2]);
    return Point{p[0] * scale, p[1] * scale, p[2] * scale};
  });
  auto* mesh = new trelMCTriangleMesh;
  EXPECT_TRUE(mesh->ImportMesh(surface.get()));
  return mesh;
}

/** All packets of a model, by what became of them: each leaves, is trapped or is absorbed. */
void AccountForAll(const char* name, const ModelOf& build)
{
  ExactFlights flights(build);
  TissueWatch watch(flights);
  std::vector<double> energies;
  for (std::uint64_t i = 0; i < flights.GetCount(); ++i) {
    const std::uint64_t trapped = flights.GetLedger().CountPackets(LedgerTrapped);
    double energy = 0.0;
    const Flight flight =
        flights.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
          watch(before, after);
          const trelCoefficients& here = *before.Here;
          if (after.Interactions != before.Interactions) {
            energy += before.Weight * here.Absorption / here.Interaction;
          }
          if (flights.GetLedger().CountPackets(LedgerTrapped) > trapped) energy += after.Weight;
        });
    EXPECT_TRUE(flight.Launched) << name << " " << i;
    energies.push_back(energy + flight.Weight);
  }
  EXPECT_LT(Deviation(energies, 1.0), 5.0) << name;
  EXPECT_EQ(watch.Wrong, 0) << name;
  EXPECT_EQ(flights.GetLedger().CountPackets(LedgerLost), 0u) << name;
}

}  // namespace

TEST(ExactAdversarial, RaysOnVerticesEdgesFacesAndTangentsMeetWhatTheyShould)
{
  const auto box = [] { return Box(0, 0, 0, 2, 2, 2); };
  const auto mesh = [] { return BoxMesh({0, 0, 0}, {2, 2, 2}); };
  const auto cells = [] {
    std::set<std::array<int, 3>> all;
    for (int i = 0; i < 64; ++i)
      all.insert({i / 16, i / 4 % 4, i % 4});
    return CellMesh(all, {-2, -2, -2}, {1, 1, 1});
  };
  CheckRays("box", box, raysAtCube);
  CheckRays("box of 12 triangles", mesh, raysAtCube);
  CheckRays("box of 192 triangles", cells, raysAtCube);
  CheckRays(
      "ball",
      [] {
        return Ball({0, 0, 0}, 2);
      },
      raysAtBall);
  CheckRays("U", MakeU, raysAtU);
}

TEST(ExactAdversarial, AMillionthOfAMillimetreIsSeen)
{
  const double thickness = 1e-6;
  const std::function<trelShapeObject*()> plates[] = {
      [&] { return Box(0, 0, 0, 5, 5, thickness / 2); },
      [&] {
        return MakeShape(ShapeCylinder, {0, 0, 0}, {5, 5, thickness / 2});
      },
      [&] {
        return MakeShape(ShapeEllipsoid, {0, 0, 0}, {5, 5, thickness / 2});
      }};
  for (const auto& make : plates) {
    ExactFlights flights(InAir(make));
    for (const double slope : {0.0, 0.5, 2.0}) {
      TissueWatch watch(flights);
      const trelVector along = Normalized(trelVector{slope, 0.0, 1.0});
      flights.FlyAlong({-2.0 / along.Z * along, along}, std::ref(watch));
      EXPECT_NEAR(watch.Chord, thickness / along.Z, 1e-7 / along.Z) << slope;
    }
  }
}

/** A way within a surface crosses nothing: where the packet is scattered it has to find out on
 * which side it goes on. */
TEST(ExactAdversarial, LightAlongASurfaceKnowsItsSide)
{
  const Optics milk = {0.01, 0.5, 0.5, 1.4}, ink = {0.2, 0.5, 0.0, 1.4};
  const auto light = [](TestModel& m, double x = 0.0) {
    trelLightSource* plate = m.AddSource(Box(x, 0, 0, 1, 1, 0), 2000);
    plate->SetDeflectionRange(90.0, 90.0);
  };
  AccountForAll("between layers", [&](TestModel& m) {
    m.AddTissue(Box(0, 0, 0, 5, 5, 5), milk);
    m.AddTissue(Box(0, 0, 2.5, 5, 5, 2.5), ink);
    light(m);
  });
  AccountForAll("between layers of triangles", [&](TestModel& m) {
    m.AddTissue(BoxMesh({0, 0, 0}, {5, 5, 5}), milk);
    m.AddTissue(BoxMesh({0, 0, 2.5}, {5, 5, 2.5}), ink);
    light(m);
  });
  AccountForAll("from an arm of a U onto its skin", [&](TestModel& m) {
    m.AddTissue(MakeU(), milk);
    light(m, 4.0);
  });
}

TEST(ExactAdversarial, AllPacketsAreAccountedFor)
{
  const Optics glass = {0.0, 0.0, 0.0, 1.5}, milk = {0.01, 2.0, 0.5, 1.5};
  const auto needles = [] { return MakeNeedles(8.0, 0.4, 8); };
  AccountForAll("clear needles", InAir(needles, glass, Many(2000)));
  AccountForAll("turbid needles", InAir(needles, milk, Many(2000)));
  AccountForAll("needles alone", [&](TestModel& m) {
    m.AddTissue(needles(), {0.0, 0.0, 0.0, 1.0});
    m.AddSource(Ball({0, 0, 0}, 0.3), Many(2000));
  });
  AccountForAll("a clear U", InAir(MakeU, glass));
  AccountForAll("clear balls of 1e-6 mm", [&](TestModel& m) {
    m.AddTissue(Box(0, 0, 0, 1e-3, 1e-3, 1e-3), air);
    for (int i = 0; i < 27; ++i)
      m.AddTissue(Ball({2e-6 * (i % 3), 2e-6 * (i / 3 % 3), 2e-6 * (i / 9)}, 1e-6), glass);
    m.AddSource(Box(2e-6, 2e-6, 2e-6, 2e-6, 2e-6, 2e-6), 100);
  });
  AccountForAll("flush and thin", [&](TestModel& m) {
    m.AddTissue(Box(0.1, 0.2, 0.3, 3, 3, 3), milk);
    for (int i = 0; i < 20; ++i) {
      const double n = 1.0 + 0.1 * (i % 5), half = i % 2 ? 0.5e-6 : 0.15;
      m.AddTissue(Box(0.1, 0.2, -2.7 + 0.3 * i + half, 3, 3, half), {0.01, 0.3, 0.5, n});
    }
    m.AddSource(Box(0.1, 0.2, 0.3, 3, 3, 3), 1000);
  });
  AccountForAll("200 tissues", [&](TestModel& m) {
    std::mt19937 random(7);
    std::uniform_real_distribution<> place(-5.0, 5.0), size(0.1, 2.0);
    m.AddTissue(Box(0, 0, 0, 5, 5, 5), milk);
    for (int i = 1; i < 200; ++i) {
      const ShapeType types[] = {ShapeCube, ShapeEllipsoid, ShapeCylinder};
      const double x = place(random), y = place(random), z = place(random);
      m.AddTissue(MakeShape(types[i % 3], {x, y, z}, {size(random), size(random), size(random)}),
                  {0.01, i % 7 ? 0.5 : 0.0, 0.5, 1.0 + 0.1 * (i % 6)});
    }
    m.AddSource(Box(0, 0, 0, 5, 5, 5), 1000);
  });
}
