#include "exactRuns.h"

// A body cut into pieces is flown packet by packet: with equal numbers each packet must leave at
// the same place with the same weight.

namespace {

const Optics turbid = {0.02, 5.0, 0.8, 1.4};
const Optics thin = {0.02, 0.5, 0.8, 1.4};
const Optics glassy = {0.05, 1.0, 0.5, 1.5}, air = {0.0, 0.0, 0.0, 1.0};
constexpr int any = 1000000;

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

trelShapeObject* Cylinder(double z, double rx, double ry, double half)
{
  return MakeShape(ShapeCylinder, {1, 2, z}, {rx, ry, half});
}

void BuildCylinder(TestModel& m)
{
  m.AddTissue(Cylinder(3, 5, 4, 6), thin);
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
  double Tolerance;
  int Reflections;
  ModelOf Whole, Pieces;  ///< the pieces are added to the whole, unless Alone
  bool Alone = false;
};

double ApartBy(const Cut& cut, SimulationDimension dimension = Dimension3D)
{
  const auto cutUp = [&](TestModel& m) {
    if (!cut.Alone) cut.Whole(m);
    cut.Pieces(m);
  };
  ExactFlights whole(cut.Whole, dimension), pieces(cutUp, dimension);
  const double apart = Apart(whole.FlyAll(), pieces.FlyAll(), cut.Reflections);
  EXPECT_EQ(
      whole.GetLedger().CountPackets(LedgerLost) + pieces.GetLedger().CountPackets(LedgerLost), 0u)
      << cut.Name;
  return apart;
}

/** Adds a tissue for each of some lengths. */
ModelOf Each(const std::vector<double>& lengths, const Optics& optics,
             const std::function<trelShapeObject*(double)>& make)
{
  return [=](TestModel& m) {
    for (const double length : lengths)
      m.AddTissue(make(length), optics);
  };
}

/** 0, 1, ... in units of @p step from @p first. */
std::vector<double> Count(int number, double first, double step)
{
  std::vector<double> places;
  for (int i = 0; i < number; ++i)
    places.push_back(first + step * i);
  return places;
}

const trelVector origin, off = {7.1, -3.3, 11.7};

/** The block at the place @p off in another form. */
ModelOf BlockOff(const std::function<void(TestModel&)>& add)
{
  return [=](TestModel& m) {
    add(m);
    AddBeam(m, off.X + 0.3, off.Y - 0.2, off.Z - 5);
  };
}

const ModelOf meshedBlock = BlockOff(Each({5}, turbid, [](double h) {
  return BoxMesh(off, {10, 10, h});
}));

ModelOf Tetrahedra(int n, const std::vector<Optics>& layers)
{
  return BlockOff([=](TestModel& m) { BuildTetrahedra(m, off, {10, 10, 5}, n, layers); });
}

const std::vector<Optics> skin = {glassy, thin, {0.0, 0.0, 0.0, 1.33}, turbid, {0.5, 0, 0, 1.4}};

/** The skin in flush boxes. */
void AddSkin(TestModel& m)
{
  m.AddTissue(Box(off.X, off.Y, off.Z, 10, 10, 5), air);
  for (std::size_t i = 0; i < skin.size(); ++i)
    m.AddTissue(Box(off.X, off.Y, off.Z - 4 + 2.0 * static_cast<double>(i), 10, 10, 1), skin[i]);
}

const Cut solidCuts[] = {
    {"flush layers", 1e-9, any, BlockAt(origin),
     Each({-4, -2, 0}, turbid, [](double z) { return Box(0, 0, z, 10, 10, 1); })},
    {"wider than the block", 1e-9, any, BlockAt(origin),
     Each({-4, -2, 0, 2, 4}, turbid, [](double z) { return Box(0, 0, z, 15, 25, 1); })},
    {"30 layers off the origin", 1e-9, any, BlockAt(off),
     Each(Count(30, off.Z - 4.95, 0.1), turbid,
          [](double z) { return Box(off.X, off.Y, z, 10, 10, 0.05); })},
    {"boxes in boxes", 1e-9, any, BlockAt(origin),
     Each({4.5, 3, 1, 0.1}, turbid, [](double h) { return Box(0, 0, 0, 2 * h, 2 * h, h); })},
    {"nested cylinders, flush with top and bottom", 1e-9, any, BlockAt(origin),
     Each({8, 4, 1}, turbid, [](double r) { return Cylinder(0, r, r, 5); })},
    {"concentric and overlapping balls", 1e-9, any, BlockAt(origin),
     [](TestModel& m) {
       Each({4, 2, 1}, turbid, [](double r) { return Ball({}, r); })(m);
       m.AddTissue(MakeShape(ShapeEllipsoid, {1, 1, -1}, {3, 2, 1.5}), turbid);
     }},
    {"the block again", 1e-9, any, BlockAt(origin),
     Each({5}, turbid, [](double h) { return Box(0, 0, 0, 10, 10, h); })},
    {"a ball of shells", 1e-9, 5, BuildTurbidBall,
     [](TestModel& m) {
       Each({4.5, 3, 1}, thin, [](double r) { return Ball({1, 2, 3}, r); })(m);
       m.AddTissue(Ball({1, 2, 5}, 3), thin);  // touches the surface from inside
     }},
    {"a cylinder of cylinders and slices", 1e-9, 5, BuildCylinder,
     [](TestModel& m) {
       Each({0.9, 0.5, 0.1}, thin, [](double r) { return Cylinder(3, 5 * r, 4 * r, 6); })(m);
       Each({-1, 2, 5}, thin, [](double z) { return Cylinder(z, 5, 4, 1); })(m);
     }},
};

const Cut meshedCuts[] = {
    {"layers of triangles in a box", 1e-9, any, BlockAt(origin),
     Each(Count(4, -3.15, 0.7), turbid,
          [](double z) {
            return BoxMesh({0, 0, z}, {10, 10, 0.35});
          })},
    {"layers of triangles that are flush with a box", 1e-4, any, BlockAt(off),
     Each(Count(4, off.Z - 3.75, 2.5), turbid,
          [](double z) {
            return BoxMesh({off.X, off.Y, z}, {10, 10, 1.25});
          })},
    {"a block of triangles", 1e-4, any, BlockAt(off), meshedBlock, true},
    {"a block of tetrahedra", 1e-4, any, BlockAt(off), Tetrahedra(5, {turbid}), true},
    {"layers of tetrahedra", 1e-4, any, BlockAt(off),
     Tetrahedra(10, std::vector<Optics>(5, turbid)), true},
    {"layers of tetrahedra with optics of their own", 1e-4, any, BlockOff(AddSkin),
     Tetrahedra(10, skin), true},
    {"a block of triangles in layers of boxes", 1e-4, any, meshedBlock,
     Each(Count(10, off.Z - 4.5, 1), turbid,
          [](double z) { return Box(off.X, off.Y, z, 10, 10, 0.5); })},
    {"layers of triangles from files", 1e-4, any, BlockAt(off),
     Each(Count(4, off.Z - 3.75, 2.5), turbid,
          [](double z) {
            return ThroughFile(BoxMesh({off.X, off.Y, z}, {10, 10, 1.25}));
          })},
};

/** A planar U in air, glassy: a rectangle with the dent as a tissue, or three rectangles. */
ModelOf PlanarU(bool inPieces)
{
  return [=](TestModel& m) {
    const auto add = [&](double x, double y, double hx, double hy, const Optics& optics) {
      m.AddTissue(MakeShape(ShapeRectangle, {x, y, 0}, {hx, hy, 0}), optics);
    };
    add(0, 0, 7, 5, air);
    add(0, inPieces ? -2 : 0, 6, inPieces ? 2 : 4, glassy);
    if (inPieces) add(-4, 2, 2, 2, glassy);
    if (inPieces) add(4, 2, 2, 2, glassy);
    if (!inPieces) add(0, 2, 2, 2, air);
    m.AddSource(MakeShape(ShapeRectangle, {3, 2, 0}, {0.5, 0.5, 0}), 1000);
  };
}

const Cut planarCuts[] = {
    {"flush rectangles", 1e-9, any, [](TestModel& m) { BuildPlanar(m, ShapeRectangle); },
     Each(Count(8, -1.5, 1), thin,
          [](double y) {
            return MakeShape(ShapeRectangle, {1, y, 0}, {5, 0.5, 0});
          })},
    {"an ellipse of ellipses", 1e-9, 5, [](TestModel& m) { BuildPlanar(m, ShapeEllipse); },
     Each({0.9, 0.5, 0.1}, thin,
          [](double r) {
            return MakeShape(ShapeEllipse, {1, 2, 0}, {5 * r, 4 * r, 0});
          })},
    {"a U of rectangles", 1e-9, any, PlanarU(false), PlanarU(true), true},
};

}  // namespace

TEST(ExactPieces, FlushAndNestedTissuesAreOneBody)
{
  for (const Cut& cut : solidCuts)
    EXPECT_LT(ApartBy(cut), cut.Tolerance) << cut.Name;
  for (const Cut& cut : planarCuts)
    EXPECT_LT(ApartBy(cut, Dimension2D), cut.Tolerance) << cut.Name;
  // The comparison sees a tissue that differs by a thousandth.
  const Cut differing = {"", 0.0, any, BlockAt(origin), [](TestModel& m) {
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
  EXPECT_EQ(Apart(quick.FlyAll(), plain.FlyAll(), any), 0.0);
}

namespace {

void AddLightInU(TestModel& m)
{
  m.AddSource(Box(3, 0, 2, 0.5, 0.5, 0.5), 400);
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
      m.AddTissue(Box(0, 0, 0, 7, 5, 5), air);
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
  EXPECT_LT(Apart(enclosed.FlyAll(), boxes.FlyAll(), any), 1e-9);
}
