#include "exactRuns.h"

// The exact rules against what must be true. A body cut into pieces is flown packet by packet: with
// equal numbers each packet must leave at the same place with the same weight. The rest by
// statistics: means within 5 standard errors of a known solution, each with a value that a wrong
// rule would give, which must lie farther off.

namespace {

const Optics turbid = {0.02, 5.0, 0.8, 1.4};
const Optics thin = {0.02, 0.5, 0.8, 1.4};
constexpr int anyReflections = 1000000;

void AddBeam(TestModel& m, double x, double y, double z)
{
  m.AddPencilBeam(x, y, z, 1000);
}

/** A block of 20 x 20 x 10 mm whose centre is @p at, lit from below. */
ModelOf BlockAt(const trelVector& at)
{
  return [=](TestModel& m) {
    m.AddTissue(Box(at.X, at.Y, at.Z, 10, 10, 5), turbid);
    AddBeam(m, at.X + 0.3, at.Y - 0.2, at.Z - 5);
  };
}

void BuildTurbidBall(TestModel& m)
{
  m.AddTissue(Ball({1, 2, 3}, 5), thin);
  AddBeam(m, 1.3, 1.8, -3);
}

void BuildCylinder(TestModel& m)
{
  m.AddTissue(MakeShape(ShapeCylinder, {1, 2, 3}, {5, 4, 6}), thin);
  AddBeam(m, 1.3, 1.8, -3);
}

/** Lit along +x. */
void BuildPlanar(TestModel& m, ShapeType type)
{
  m.AddTissue(MakeShape(type, {1, 2, 0}, {5, 4, 0}), thin);
  m.AddSource(MakeShape(ShapeRectangle, {-3.5, 2.2, 0}, {1e-9, 1e-9, 0}), 1000)
      ->SetAzimuthRange(0.0, 0.0);
}

/** A model, the same cut into pieces, and what may lie between the exits. */
struct Cut
{
  const char* Name;
  ModelOf Whole;
  ModelOf Pieces;  ///< added to the whole, unless Alone
  bool Alone = false;
  double Tolerance = 1e-9;
  int Reflections = anyReflections;
  SimulationDimension Dimension = Dimension3D;
};

double ApartBy(const Cut& cut)
{
  ExactFlights whole(cut.Whole, cut.Dimension);
  ExactFlights pieces(
      [&](TestModel& m) {
        if (!cut.Alone) cut.Whole(m);
        cut.Pieces(m);
      },
      cut.Dimension);
  const double apart = Apart(whole.FlyAll(), pieces.FlyAll(), cut.Reflections);
  EXPECT_EQ(whole.GetTally().Lost + pieces.GetTally().Lost, 0u) << cut.Name;
  return apart;
}

const trelVector origin, off = {7.1, -3.3, 11.7};

const Cut solidCuts[] = {
    {"flush layers", BlockAt(origin),
     [](TestModel& m) {
       for (int i = 0; i < 3; ++i)
         m.AddTissue(Box(0, 0, -4 + 2 * i, 10, 10, 1), turbid);
     }},
    {"wider than the block", BlockAt(origin),
     [](TestModel& m) {
       for (int i = 0; i < 5; ++i)
         m.AddTissue(Box(0, 0, -4 + 2 * i, 15, 25, 1), turbid);
     }},
    {"30 layers off the origin", BlockAt(off),
     [](TestModel& m) {
       for (int i = 0; i < 30; ++i)
         m.AddTissue(Box(off.X, off.Y, off.Z - 5 + 0.05 + 0.1 * i, 10, 10, 0.05), turbid);
     }},
    {"boxes in boxes", BlockAt(origin),
     [](TestModel& m) {
       for (double h : {4.5, 3.0, 1.0, 0.1})
         m.AddTissue(Box(0, 0, 0, 2 * h, 2 * h, h), turbid);
     }},
    {"nested cylinders, flush with top and bottom", BlockAt(origin),
     [](TestModel& m) {
       for (double r : {8.0, 4.0, 1.0})
         m.AddTissue(MakeShape(ShapeCylinder, {0, 0, 0}, {r, r, 5}), turbid);
     }},
    {"concentric and overlapping balls", BlockAt(origin),
     [](TestModel& m) {
       for (double r : {4.0, 2.0, 1.0})
         m.AddTissue(Ball({0, 0, 0}, r), turbid);
       m.AddTissue(MakeShape(ShapeEllipsoid, {1, 1, -1}, {3, 2, 1.5}), turbid);
     }},
    {"the block again", BlockAt(origin),
     [](TestModel& m) { m.AddTissue(Box(0, 0, 0, 10, 10, 5), turbid); }},
    {"a ball of shells", BuildTurbidBall,
     [](TestModel& m) {
       for (double r : {4.5, 3.0, 1.0})
         m.AddTissue(Ball({1, 2, 3}, r), thin);
       m.AddTissue(Ball({1, 2, 5}, 3), thin);  // touches the surface from inside
     },
     false, 1e-9, 5},
    {"a cylinder of cylinders and slices", BuildCylinder,
     [](TestModel& m) {
       for (double r : {0.9, 0.5, 0.1})
         m.AddTissue(MakeShape(ShapeCylinder, {1, 2, 3}, {5 * r, 4 * r, 6}), thin);
       for (double z : {-1.0, 2.0, 5.0})
         m.AddTissue(MakeShape(ShapeCylinder, {1, 2, z}, {5, 4, 1}), thin);
     },
     false, 1e-9, 5},
};

const Cut meshedCuts[] = {
    {"layers of triangles in a box", BlockAt(origin),
     [](TestModel& m) {
       for (int i = 0; i < 4; ++i)
         m.AddTissue(BoxMesh({0, 0, -3.15 + 0.7 * i}, {10, 10, 0.35}), turbid);
     }},
    {"layers of triangles that are flush with a box", BlockAt(off),
     [](TestModel& m) {
       for (int i = 0; i < 4; ++i)
         m.AddTissue(BoxMesh({off.X, off.Y, off.Z - 3.75 + 2.5 * i}, {10, 10, 1.25}), turbid);
     },
     false, 1e-4},
    {"a block of triangles", BlockAt(off),
     [](TestModel& m) {
       m.AddTissue(BoxMesh(off, {10, 10, 5}), turbid);
       AddBeam(m, off.X + 0.3, off.Y - 0.2, off.Z - 5);
     },
     true, 1e-4},
    {"a block of tetrahedra", BlockAt(off),
     [](TestModel& m) {
       BuildTetrahedra(m, off, {10, 10, 5}, 5, 1, turbid);
       AddBeam(m, off.X + 0.3, off.Y - 0.2, off.Z - 5);
     },
     true, 1e-4},
    {"layers of tetrahedra", BlockAt(off),
     [](TestModel& m) {
       BuildTetrahedra(m, off, {10, 10, 5}, 10, 5, turbid);
       AddBeam(m, off.X + 0.3, off.Y - 0.2, off.Z - 5);
     },
     true, 1e-4},
    {"a block of triangles in layers of boxes",
     [](TestModel& m) {
       m.AddTissue(BoxMesh(off, {10, 10, 5}), turbid);
       AddBeam(m, off.X + 0.3, off.Y - 0.2, off.Z - 5);
     },
     [](TestModel& m) {
       for (int i = 0; i < 10; ++i)
         m.AddTissue(Box(off.X, off.Y, off.Z - 4.5 + i, 10, 10, 0.5), turbid);
     },
     false, 1e-4},
};

const Cut planarCuts[] = {
    {"flush rectangles", [](TestModel& m) { BuildPlanar(m, ShapeRectangle); },
     [](TestModel& m) {
       for (int i = 0; i < 8; ++i)
         m.AddTissue(MakeShape(ShapeRectangle, {1, -1.5 + i, 0}, {5, 0.5, 0}), thin);
     },
     false, 1e-9, anyReflections, Dimension2D},
    {"an ellipse of ellipses", [](TestModel& m) { BuildPlanar(m, ShapeEllipse); },
     [](TestModel& m) {
       for (double r : {0.9, 0.5, 0.1})
         m.AddTissue(MakeShape(ShapeEllipse, {1, 2, 0}, {5 * r, 4 * r, 0}), thin);
     },
     false, 1e-9, 5, Dimension2D},
};

}  // namespace

TEST(ExactPieces, FlushAndNestedTissuesAreOneBody)
{
  for (const Cut& cut : solidCuts)
    EXPECT_LT(ApartBy(cut), cut.Tolerance) << cut.Name;
  for (const Cut& cut : planarCuts)
    EXPECT_LT(ApartBy(cut), cut.Tolerance) << cut.Name;
  // The comparison sees a tissue that differs by a thousandth.
  const Cut differing = {"", BlockAt(origin), [](TestModel& m) {
                           m.AddTissue(Box(0, 0, 0, 10, 10, 1), {0.02, 5.005, 0.8, 1.4});
                         }};
  EXPECT_GT(ApartBy(differing), 1e-6);
}

TEST(ExactPieces, MeshesAreTheBodiesThatTheyStandFor)
{
  for (const Cut& cut : meshedCuts)
    EXPECT_LT(ApartBy(cut), cut.Tolerance) << cut.Name;
}

TEST(ExactPieces, ShortcutsChangeNoBitOfAPath)
{
  const ModelOf build = [](TestModel& m) {
    m.AddTissue(Box(0, 0, 0, 3, 3, 3), {0.02, 1.0, -0.5, 1.4});
    for (int i = 0; i < 125; ++i)
      m.AddTissue(Ball({i % 5 - 2.0, i / 5 % 5 - 2.0, i / 25 - 2.0}, 0.3),
                  {0.01, 1.0 + i % 3, 0.5, 1.4 + 0.1 * (i % 2)});
    m.AddSource(Box(0, 0, 0, 3, 3, 3), 4000);
  };
  ExactFlights quick(build), plain(build);
  plain.TakeNoShortcut();
  EXPECT_EQ(Apart(quick.FlyAll(), plain.FlyAll(), anyReflections), 0.0);
}

namespace {

const Optics glassy = {0.05, 1.0, 0.5, 1.5};

/** A U along y, 12 x 8 x 8 mm, of triangles. */
trelShapeObject* MakeU()
{
  std::set<std::array<int, 3>> cells;
  for (int x = 0; x < 3; ++x)
    for (int z = 0; z < 2; ++z)
      if (x != 1 || z == 0) cells.insert({x, 0, z});
  return CellMesh(cells, {-6, -4, -4}, {4, 8, 4});
}

void AddLightInU(TestModel& m)
{
  m.AddSource(Box(3, 0, 2, 0.5, 0.5, 0.5), 1000);
}

}  // namespace

TEST(ExactPieces, ADentLetsLightReturnInAClearBoxOnly)
{
  ExactFlights alone([](TestModel& m) {
    m.AddTissue(MakeU(), glassy);
    AddLightInU(m);
  });
  const auto boxed = [](const std::function<void(TestModel&)>& add) {
    return [=](TestModel& m) {
      m.AddTissue(Box(0, 0, 0, 7, 5, 5), {0, 0, 0, 1.0});
      add(m);
      AddLightInU(m);
    };
  };
  ExactFlights enclosed(boxed([](TestModel& m) { m.AddTissue(MakeU(), glassy); }));
  ExactFlights boxes(boxed([](TestModel& m) {
    m.AddTissue(Box(0, 0, -2, 6, 4, 2), glassy);
    m.AddTissue(Box(-4, 0, 2, 2, 4, 2), glassy);
    m.AddTissue(Box(4, 0, 2, 2, 4, 2), glassy);
  }));
  // Without the box a packet ends where it first leaves the U in the box.
  double apart = 0.0;
  int returned = 0;
  for (std::uint64_t i = 0; i < alone.GetCount(); ++i) {
    const Flight flight = alone.Fly(i);
    Flight first;
    enclosed.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
      returned += before.TissueIndex == 0 && after.TissueIndex == 1;
      if (first.Launched || after.TissueIndex != 0) return;
      first = {after.Position, after.Direction, after.FlyTime, after.Weight, 0, true};
    });
    if (first.Launched || flight.Weight > 0.0) apart = std::max(apart, Apart(flight, first));
  }
  EXPECT_LT(apart, 1e-9);
  EXPECT_GT(returned, 20);
  EXPECT_LT(Apart(enclosed.FlyAll(), boxes.FlyAll(), anyReflections), 1e-9);
}

namespace {

/** A slab between z = 0 and @p thickness, too wide for its sides to matter. */
void BuildSlab(TestModel& m, double thickness, const Optics& optics, bool specular = false)
{
  const double half = thickness / 2;
  m.AddTissue(Box(0, 0, half, 40, 40, half), optics);
  m.AddPencilBeam(0, 0, 0, 4000)->SetSpecular(specular);
  m->SetSeparations(80, 80, thickness, 1, 1, 1);
}

double Reflected(const trelMediumResult& r)
{
  return r.GetTransmittanceBottomTotal() + r.GetSpecularReflectance();
}

}  // namespace

TEST(ExactPhysics, SlabsReflectAndTransmitAsTabulated)
{
  // van de Hulst, Multiple Light Scattering (1980), table 35.
  const auto slab = [](double g) {
    return [g](TestModel& m) { BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0}); };
  };
  EXPECT_LT(Deviation(slab(0.75), Reflected, 0.09739), 5.0);
  EXPECT_LT(Deviation(slab(0.75), &trelMediumResult::GetTransmittanceTopTotal, 0.66096), 5.0);
  EXPECT_GT(Deviation(slab(0.79), Reflected, 0.09739), 5.0);
  // The same in twenty flush layers of equal index, ambient index included.
  const auto layers = [](double g) {
    return [g](TestModel& m) {
      BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0});
      for (int i = 0; i < 20; ++i)
        m.AddTissue(Box(0, 0, 0.005 + 0.01 * i, 40, 40, 0.005), {1.0, 9.0, g, 1.0});
    };
  };
  EXPECT_LT(Deviation(layers(0.75), &trelMediumResult::GetTransmittanceTopTotal, 0.66096), 5.0);
  // Giovanelli, Optica Acta 2 (1955) 153, the specular part included.
  const auto halfSpace = [](double n) {
    return [n](TestModel& m) { BuildSlab(m, 40.0, {1.0, 9.0, 0.0, n}, true); };
  };
  EXPECT_LT(Deviation(halfSpace(1.5), Reflected, 0.2600), 5.0);
  EXPECT_GT(Deviation(halfSpace(1.45), Reflected, 0.2600), 5.0);
}

namespace {

/** Between z = 0 and 0.2 mm; in its middle a stack of five layers of a tenth of the free path. */
void BuildLayeredSlab(TestModel& m, const Optics& layers)
{
  const Optics around = {1.0, 9.0, 0.75, 1.0};
  m.AddTissue(Box(0, 0, 0.125, 40, 40, 0.125), around);
  for (int i = 0; i < 5; ++i)
    m.AddTissue(Box(0, 0, 0.045 + 0.04 * i, 40, 40, 0.005), layers);
  m.AddPencilBeam(0, 0, 0, 4000);
  m->SetSeparations(80, 80, 0.25, 1, 1, 1);
}

}  // namespace

TEST(ExactPhysics, ThinClearLayersChangeNoTransmittance)
{
  // In a stack of layers light of each direction crosses a clear one as it is.
  const auto top = &trelMediumResult::GetTransmittanceTopTotal;
  const ModelOf clear = [](TestModel& m) { BuildLayeredSlab(m, {0.0, 0.0, 0.0, 1.0}); };
  const ModelOf filled = [](TestModel& m) { BuildLayeredSlab(m, {1.0, 9.0, 0.75, 1.0}); };
  EXPECT_LT(Deviation(clear, top, 0.66096), 5.0);
  EXPECT_GT(Deviation(filled, top, 0.66096), 5.0);
}

namespace {

/** A quantity of the packets that leave, by a closed form. */
struct Truth
{
  std::string Name;
  ModelOf Build;
  double Expected, Wrong;
};

constexpr std::uint32_t manyPackets = 100000;

/** A ball of radius 2 mm about a point that shines to all sides. */
void BuildLitBall(TestModel& m, const Optics& optics)
{
  m.AddTissue(Ball(origin, 2), optics);
  m.AddSource(Ball(origin, 1e-9), manyPackets);
}

void BuildStack(TestModel& m, const Optics& layer)
{
  m.AddTissue(Box(0, 0, 1, 9, 9, 1), {1.0, 0.0, 0.0, 1.4});
  m->GetMedium()->SetAmbientRefractiveIndex(1.4);
  m.AddTissue(Box(0, 0, 1.05, 20, 20, 0.05), layer);
  m.AddPencilBeam(0, 0, 0, manyPackets);
}

/** Without scattering, along straight lines: slabs between two faces of reflectance r pass
 *  (1 - r)^2 a / (1 - r^2 a^2) of a beam, a = exp(-mua d); a ball passes (1 - r) a / (1 - r a^2) of
 *  the light of its centre, a = exp(-mua R). */
std::vector<Truth> MakeTruths()
{
  std::vector<Truth> truths;
  for (const double n : {1.0, 1.37, 1.5}) {
    const double r = (n - 1) * (n - 1) / (n + 1) / (n + 1);
    for (const double mua : {0.0, 0.05, 0.5}) {
      const double a = std::exp(-mua * 2.0);
      const double slab = (1 - r) * (1 - r) * a / (1 - r * r * a * a);
      const double ball = (1 - r) * a / (1 - r * a * a);
      const std::string name = std::to_string(n) + " " + std::to_string(mua);
      const Optics optics = {mua, 0.0, 0.0, n};
      truths.push_back({"slab " + name,
                        [=](TestModel& m) {
                          m.AddTissue(Box(0, 0, 1, 9, 9, 1), optics);
                          m.AddPencilBeam(0, 0, 0, manyPackets)->SetSpecular(true);
                        },
                        slab, mua > 0.0 ? 1.1 * slab : 1.0 + slab});
      truths.push_back({"ball " + name, [=](TestModel& m) { BuildLitBall(m, optics); }, ball,
                        r * a * a < 0.01 ? 0.97 * ball : (1 - r) * a});
    }
  }
  // A layer of a tenth of the free path around: missed, it is one of its surroundings.
  const Optics clear = {0.0, 0.0, 0.0, 1.4}, black = {10.0, 0.0, 0.0, 1.4};
  for (const auto& [layer, depth] : {std::pair{clear, 1.9}, {black, 2.9}}) {
    const double passed = std::exp(-depth), missed = std::exp(-2.0);
    truths.push_back({"layer", [l = layer](TestModel& m) { BuildStack(m, l); }, passed, missed});
    truths.push_back({"shell",
                      [l = layer](TestModel& m) {
                        m->GetMedium()->SetAmbientRefractiveIndex(1.4);
                        BuildLitBall(m, {1.0, 0.0, 0.0, 1.4});
                        m.AddTissue(Ball(origin, 1.1), l);
                        m.AddTissue(Ball(origin, 1.0), {1.0, 0.0, 0.0, 1.4});
                      },
                      passed, missed});
  }
  return truths;
}

}  // namespace

TEST(ExactPhysics, AbsorbersAndClearBodiesFollowTheirClosedForms)
{
  for (const Truth& truth : MakeTruths()) {
    ExactFlights flights(truth.Build);
    std::vector<double> sample;
    for (const Flight& flight : flights.FlyAll()) {
      const bool behind = truth.Name[0] == 'b' || flight.Direction.Z > 0.0;
      sample.push_back(behind || truth.Name == "shell" ? flight.Weight : 0.0);
    }
    EXPECT_LT(Deviation(sample, truth.Expected), 5.0) << truth.Name;
    EXPECT_GT(Deviation(sample, truth.Wrong), 5.0) << truth.Name;
  }
}

TEST(ExactPhysics, NothingPassesABlackShell)
{
  ExactFlights flights([](TestModel& m) {
    BuildTurbidBall(m);
    m.AddTissue(Ball({1, 2, 3}, 3), {1e4, 0.0, 0.0, 1.4});
    m.AddTissue(Ball({1, 2, 3}, 2.99), thin);
    m->GetLightSource(0)->SetShape(Ball({1, 2, 3}, 1));
    m->GetLightSource(0)->SetInternal(true);
    m->GetLightSource(0)->SetDeflectionRange(0.0, Pi);
    m->GetLightSource(0)->SetAzimuthRange(0.0, 2.0 * Pi);
  });
  for (const Flight& flight : flights.FlyAll())
    EXPECT_EQ(flight.Weight, 0.0);
}

TEST(ExactPhysics, TrappedLightEndsAndIsCounted)
{
  // Out of a cube of glass there are six cones of the critical angle, which do not overlap.
  TestModel model;
  model.AddTissue(Box(0, 0, 0, 5, 5, 5), {0.0, 0.0, 0.0, 1.5});
  model.AddSource(Box(0, 0, 0, 1e-9, 1e-9, 1e-9), 2000);
  ExactRun run(model);
  const double trapped = 1.0 - 3.0 * (1.0 - std::sqrt(1.0 - 1.0 / 2.25));
  const auto count = static_cast<double>(run.GetSummary().Trapped);
  EXPECT_NEAR(count, 2000 * trapped, 5.0 * std::sqrt(2000 * trapped * (1.0 - trapped)));
  EXPECT_EQ(run[0].GetTransmitPhotonNum(), 2000 - static_cast<std::int64_t>(count));
  EXPECT_NEAR(run[0].GetTotalTransmittance3D(), 1.0 - count / 2000, 1e-9);
}

TEST(ExactPhysics, ATiltedBeamLeavesAClearSlabInItsOwnDirection)
{
  const trelVector tilted = Normalized(trelVector{0.6, 0.3, 0.8});
  ExactFlights flights([&](TestModel& m) {
    m.AddTissue(Box(0, 0, 1, 1000, 1000, 1), {0.0, 0.0, 0.0, 1.5});
    m.AddTissue(Box(0, 0, 0.5, 1000, 1000, 0.5), {0.0, 0.0, 0.0, 1.33});
    m.AddPencilBeam(0, 0, 0, 1000)->SetDirection(tilted);
  });
  int through = 0;
  for (const Flight& flight : flights.FlyAll()) {
    const trelVector upwards = {flight.Direction.X, flight.Direction.Y,
                                std::fabs(flight.Direction.Z)};
    EXPECT_LT(Length(upwards - tilted), 1e-12);
    through += flight.Direction.Z > 0.0;
  }
  EXPECT_GT(through, 800);
}

namespace {

/** Endless tissue about a point that shines to all sides. */
void BuildInfinite(TestModel& m, const Optics& optics, std::uint32_t packets)
{
  const bool planar = m->GetDimension() == Dimension2D;
  m.AddTissue(MakeShape(planar ? ShapeRectangle : ShapeCube, {0, 0, 0}, {1e4, 1e4, 1e4}), optics);
  m.AddSource(MakeShape(planar ? ShapeEllipse : ShapeEllipsoid, {0, 0, 0}, {1e-9, 1e-9, 1e-9}),
              packets);
}

}  // namespace

TEST(ExactPhysics, AbsorptionSpreadsByItsSecondMoment)
{
  // Of the equation of transfer times r^2 and times r u the integrals over all places and
  // directions give mua M2 = 2 J and (mua + mus (1 - g)) J = M0, in space and in the plane alike:
  // directions are unit vectors in both.
  const double mua = 0.5, mus = 4.0;
  for (const auto dimension : {Dimension3D, Dimension2D}) {
    for (const double g : {0.0, 0.5, 0.9}) {
      ExactFlights flights(
          [&](TestModel& m) {
            BuildInfinite(m, {mua, mus, g, 1.4}, 20000);
          },
          dimension);
      std::vector<double> moments;
      for (std::uint64_t i = 0; i < flights.GetCount(); ++i) {
        double moment = 0.0;
        flights.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
          moment += before.Weight * mua / (mua + mus) * Dot(after.Position, after.Position);
        });
        moments.push_back(moment);
      }
      const double expected = 2.0 / (mua * (mua + mus * (1.0 - g)));
      EXPECT_LT(Deviation(moments, expected), 5.0) << g << " " << dimension;
      EXPECT_GT(Deviation(moments, 1.06 * expected), 5.0) << g << " " << dimension;
    }
  }
}

TEST(ExactPhysics, AbsorptionFallsExponentiallyToTheLastGate)
{
  const double n = 1.4, width = 100.0;
  constexpr int gates = 30;
  std::vector<double> samples[gates];
  const auto collect = [&](const trelMediumResult& r) {
    for (int gate = 0; gate < gates; ++gate)
      samples[gate].push_back(r.GetTDAbsorption3D()[gate]);
    return 0.0;
  };
  RunRecords(
      [&](TestModel& m) {
        BuildInfinite(m, {0.02, 0.5, 0.3, n}, 2000);
        m->SetTimeDomain(true);
        m->SetTimeRange(0.0, gates * width, width);
        m->SetSeparations(2e4, 2e4, 2e4, 1, 1, 1);
        m->SetFlyTimeMax(gates * width);
        m->SetFlyTimeMaxGiven(true);
      },
      collect);
  const auto expected = [&](int gate, double mua) {
    const double rate = mua * 0.299792458 / n * width;
    return std::exp(-rate * gate) - std::exp(-rate * (gate + 1));
  };
  double wrong = 0.0;
  for (int gate = 0; gate < gates; ++gate) {
    EXPECT_LT(Deviation(samples[gate], expected(gate, 0.02)), 5.0) << gate;
    wrong = std::max(wrong, Deviation(samples[gate], expected(gate, 0.0202)));
    // Far below the weight at which the roulette begins, nothing is missing.
    if (gate > 25) {
      EXPECT_GT(Deviation(samples[gate], 0.0), 5.0) << gate;
    }
  }
  EXPECT_GT(wrong, 5.0);
}

TEST(ExactPhysics, FluenceIsThatOfTheBeamAcrossBoundariesAndInClearTissue)
{
  // Optical depth of the beam at z: 0.5 / mm below 1 mm, nothing below 2 mm, then 1 / mm.
  const auto passed = [](double z) {
    return std::exp(-0.5 * std::min(z, 1.0) - std::max(z - 2.0, 0.0));
  };
  constexpr int cells = 5;
  std::vector<double> samples[cells];
  RunRecords(
      [](TestModel& m) {
        m.AddTissue(Box(0, 0, 1.5, 10, 10, 1.5), {0.5, 0.0, 0.0, 1.0});
        m.AddTissue(Box(0, 0, 1.5, 20, 20, 0.5), {0.0, 0.0, 0.0, 1.0});
        m.AddTissue(Box(0, 0, 2.5, 20, 20, 0.5), {1.0, 0.0, 0.0, 1.0});
        m.AddPencilBeam(0, 0, 0, 4000);
        m->SetSaveFluenceRate(true);
        m->SetSeparations(20, 20, 3.0 / cells, 1, 1, 1);
      },
      [&](const trelMediumResult& r) {
        for (int i = 0; i < cells; ++i)
          samples[i].push_back((*r.GetAbsorptionXYZ())(0, 0, i) * 400.0 * 3.0 / cells);
        return 0.0;
      });
  for (int i = 0; i < cells; ++i) {
    double expected = 0.0;  // by the rule of the middle
    for (int k = 0; k < 1000; ++k)
      expected += passed((i + (k + 0.5) / 1000) * 3.0 / cells) * 3.0 / cells / 1000;
    EXPECT_LT(Deviation(samples[i], expected), 5.0) << i;
    EXPECT_GT(Deviation(samples[i], 1.05 * expected), 5.0) << i;
  }
}
