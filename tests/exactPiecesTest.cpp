#include "exactRuns.h"

// A body cut into pieces is flown packet by packet: with equal numbers each packet must leave at
// the same place with the same weight.

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
