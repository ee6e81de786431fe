#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "modelFixtures.h"
#include "trelShapeFactory.h"

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

static constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
static constexpr double infinity = std::numeric_limits<double>::infinity();

// Single points in simple media stand in tests/models/sound.txt.

/** Points all over a box somewhat larger than the medium, a third of them on borders of cells. */
class PointsInAndAround
{
public:
  PointsInAndAround(const trelShapeObject& outer, unsigned seed) : Generator(seed)
  {
    outer.GetBoundingBox(Box);
  }
  double operator()(int axis)
  {
    const double min = Box[2 * axis];
    const double extent = Box[2 * axis + 1] - min;
    const double u = std::uniform_real_distribution<>(-0.02, 1.02)(Generator);
    const double border = min + std::floor(99 * u) * (extent / 99);
    const auto choice = Generator() % 6;
    if (choice > 1) return min + u * extent;
    return choice == 0 ? border : std::nextafter(border, -infinity);
  }

private:
  std::mt19937 Generator;
  double Box[6];
};

/** The look-up as one would tell it: the grid, cell by cell, and then every tissue in turn. Who
 *  claims a cell, and who gets it, is looked up in the boxes. */
class PlainMedium
{
public:
  explicit PlainMedium(trelMedium& medium)
      : Medium(medium), Planar(medium.GetOuterShape()->GetShapeType() < ShapeEllipsoid)
  {
    medium.GetOuterShape()->GetBoundingBox(Outer);
    for (int j = 0; j < medium.GetNumberOfTissues() && !SticksOut(j); ++j)
      if (j != medium.GetOutermostTissueIndex() && medium.GetTissue(j)->GetShape()) Claim(j);
  }

  int GetTissueIndex(const double p[3]) const
  {
    const int outermost = Medium.GetOutermostTissueIndex();
    for (int a = 0; a < (Planar ? 2 : 3); ++a)
      if (p[a] - Outer[2 * a] < -1e-12 || p[a] - Outer[2 * a + 1] > 1e-12) return -1;
    const int t = Grid[(CellOf(0, p[0]) * 100 + CellOf(1, p[1])) * 100 + CellOf(2, p[2])];
    const int holder = t < 0 ? outermost : t;
    const bool outside = Medium.GetOuterShape()->LocatePoint(p[0], p[1], p[2]) == PointOutside;
    if (holder == outermost) return outside ? -1 : outermost;
    if (Has(holder, p)) return holder;
    for (const bool related : {true, false}) {
      if (!related && outside) return -1;
      for (int k = 0; k < Medium.GetNumberOfTissues(); ++k) {
        if (k == outermost || k == holder || (related && !Related.count(std::minmax(k, holder))))
          continue;
        if (Has(k, p)) return k;
      }
    }
    return outermost;
  }

private:
  int CellOf(int axis, double q) const
  {
    if (axis == 2 && Planar) return 0;
    const double step = (Outer[2 * axis + 1] - Outer[2 * axis]) / 99;
    return static_cast<int>(std::clamp((q - Outer[2 * axis]) / step, 0.0, 99.0));
  }
  bool Has(int k, const double p[3]) const
  {
    const trelShapeObject* shape = Medium.GetTissue(k)->GetShape();
    return shape && shape->LocatePoint(p[0], p[1], p[2]) != PointOutside;
  }
  std::array<double, 6> BoxOf(int k) const
  {
    std::array<double, 6> box{};
    if (Medium.GetTissue(k)->GetShape()) Medium.GetTissue(k)->GetShape()->GetBoundingBox(&box[0]);
    return box;
  }
  bool SticksOut(int k) const
  {
    const auto b = BoxOf(k);
    bool out = false;
    for (int a = 0; a < (Planar ? 2 : 3); ++a)
      out = out || b[2 * a] < Outer[2 * a] || b[2 * a + 1] > Outer[2 * a + 1];
    return out && Medium.GetTissue(k)->GetShape();
  }
  double SizeOf(const std::array<double, 6>& b, const std::array<double, 6>& other) const
  {
    const double area = (b[1] - b[0]) * (Planar ? other[3] - other[2] : b[3] - b[2]);
    return Planar ? area : area * (b[5] - b[4]);
  }
  void Claim(int j)
  {
    const auto b = BoxOf(j);
    int met = -1, winner = j;  // neighbours mostly have one holder
    for (int x = CellOf(0, b[0]); x <= CellOf(0, b[1]); ++x)
      for (int y = CellOf(1, b[2]); y <= CellOf(1, b[3]); ++y)
        for (int z = CellOf(2, b[4]); z <= CellOf(2, b[5]); ++z) {
          int& cell = Grid[(x * 100 + y) * 100 + z];
          if (cell != met) {
            met = cell;
            const bool wins = cell < 0 || SizeOf(b, BoxOf(cell)) < SizeOf(BoxOf(cell), BoxOf(cell));
            winner = wins ? j : cell;
            if (cell >= 0) Related.emplace(cell, j);
          }
          cell = winner;
        }
  }

  trelMedium& Medium;
  bool Planar;
  double Outer[6];
  std::vector<int> Grid = std::vector<int>(1000000, -1);
  std::set<std::pair<int, int>> Related;
};

/** Kinds with a body; cubes twice as often. */
static constexpr ShapeType anyKind[] = {ShapeRectangle, ShapeEllipse, ShapeEllipsoid,
                                        ShapeCylinder,  ShapeCube,    ShapeCube};

static int Draw(std::mt19937& random, int count)
{
  return static_cast<int>(random() % static_cast<unsigned>(count));
}

/** A shape of any kind in [-10, 10]^3, its bounds often on borders of cells. */
static trelShapeObject* MakeAnyShape(std::mt19937& random, int longest)
{
  trelShapeObject* shape = MakeShape(anyKind[Draw(random, 6)]);
  double center[3], half[3];
  for (int a = 0; a < 3; ++a) {
    const double unit = Draw(random, 3) ? 20.0 / 99 : 1e-3;  // half a cell is left at either end
    half[a] = (1 + Draw(random, longest)) * unit;
    const double place = (Draw(random, 1000) / 499.5 - 1) * (10 - half[a]);
    center[a] = (std::floor(place / unit) + 0.5) * unit;
    center[a] = std::clamp(center[a], -10 + half[a], 10 - half[a]);
  }
  return Place(shape, center[0], center[1], center[2], half[0], half[1], half[2]);
}

TEST(Medium, AnswersLikeThePlainForm)
{
  std::mt19937 random(5);
  int byOthers = 0, outside = 0;
  for (int model = 0; model < 40; ++model) {
    const ShapeType kinds[] = {ShapeCube, ShapeEllipsoid, ShapeCylinder, ShapeCube, ShapeEllipse};
    trelMedium medium;
    std::vector<trelShapeObject*> shapes;
    // Small ones are listed by single cells; of many some have an index that is no byte.
    const int count = model ? 2 + Draw(random, 11) : 600;
    const int longest = model % 3 ? 40 : 4;
    for (int i = 0; i < count; ++i)
      shapes.push_back(i == count / 2    ? Place(MakeShape(kinds[model % 5]), 0, 0, 0, 10, 10, 10)
                       : Draw(random, 9) ? MakeAnyShape(random, longest)
                                         : nullptr);
    if (model % 8 == 7) shapes.push_back(Place(new trelCube, 9, 0, 0, 3, 3, 3));  // sticks out
    if (model % 4 == 3) shapes.push_back(MakeAnyShape(random, longest));
    for (int i = 0; i < count; i += 4) {  // some have the cells of an earlier one, or nearly so
      double c[3], h[3];
      if (!shapes[i] || !shapes[i / 2] || i / 2 == count / 2 || i == count / 2) continue;
      shapes[i / 2]->GetCenter(c);
      shapes[i / 2]->GetHalfAxes(&h[0], &h[1], &h[2]);
      Place(shapes[i], c[0], c[1], c[2], h[0] * (i % 8 ? 1 : 0.999), h[1], h[2]);
    }
    for (trelShapeObject* shape : shapes)
      AddTissue(medium, shape);
    medium.SetOutermostTissueIndex(count / 2);
    const PlainMedium plain(medium);
    CaptureStderr();
    EXPECT_EQ(medium.BuildTissueGrid(), model % 8 != 7);
    PointsInAndAround next(*shapes[count / 2], 7);
    for (int n = 0; n < 3000; ++n) {
      double p[3] = {next(0), next(1), next(2)};
      // In the box of a tissue, or within a hair of its bounds.
      const trelShapeObject* near = n % 2 ? nullptr : shapes[random() % shapes.size()];
      for (int a = 0; near && a < 3; ++a) {
        double box[6];
        near->GetBoundingBox(box);
        const double low = box[2 * a], high = box[2 * a + 1], hair = (Draw(random, 7) - 3) * 4e-13;
        const double within = low + Draw(random, 1000) * 1e-3 * (high - low);
        p[a] = Draw(random, 2) ? within : (Draw(random, 2) ? low : high) + hair;
      }
      const int expected = plain.GetTissueIndex(p);
      ASSERT_EQ(medium.GetTissueIndex(p[0], p[1], p[2]), expected)
          << model << ": " << p[0] << " " << p[1] << " " << p[2];
      byOthers += expected >= 0 && expected != count / 2;
      outside += expected < 0;
    }
    GetCapturedStderr();
  }
  EXPECT_GT(byOthers, 15000);
  EXPECT_GT(outside, 5000);
}

TEST(Medium, AsksNoShapeInASettledCell)
{
  for (const ShapeType kind : {ShapeCube, ShapeRectangle, ShapeTriangleMesh}) {
    const int needed = kind == ShapeTriangleMesh ? 1 : 0;
    auto* outer = Place(new BoxOfKind(kind), 0, 0, 0, 10, 10, 10);
    auto* inner = Place(new BoxOfKind(kind), 5, 5, 5, 2, 2, 2);
    trelMedium medium;
    AddTissue(medium, outer);
    AddTissue(medium, inner);
    ASSERT_TRUE(medium.BuildTissueGrid());
    outer->Questions = inner->Questions = 0;
    EXPECT_EQ(medium.GetTissueIndex(-1, -2, 3), 0);
    EXPECT_EQ(medium.GetTissueIndex(5, 5, 5), 1);
    EXPECT_EQ(outer->Questions, needed) << kind;
    EXPECT_EQ(inner->Questions, needed) << kind;
    medium.GetTissueIndex(9.999, 0, 0);
    EXPECT_EQ(outer->Questions, needed + 1) << "at the rim";
  }
}

TEST(Medium, SettledCellsDoNotChangeAnAnswerFarFromTheOrigin)
{
  // At 1e9 a double resolves 1e-7, a fifth of a cell: no margin can be sure, no cell is settled.
  for (const double offset : {0.0, 1e3, 1e6, 1e9}) {
    trelMedium medium;
    trelShapeObject* outer = Place(new trelEllipsoid, offset, -offset, 0, 3e-5, 2e-5, 1e-5);
    AddTissue(medium, outer);
    AddTissue(medium, Place(new trelCube, offset, -offset, 0, 1e-5, 1e-5, 5e-6));
    medium.BuildTissueGrid();
    PointsInAndAround next(*outer, 2);
    for (int n = 0; n < 20000; ++n) {
      const double x = next(0), y = next(1), z = next(2);
      ASSERT_EQ(medium.GetTissueIndex(x, y, z), medium.ConfirmTissueIndex({x, y, z}))
          << offset << ": " << x - offset << " " << y + offset << " " << z;
    }
  }
}

TEST(Medium, ReportsATissueThatSticksOutAtEachLookUp)
{
  for (const ShapeType kind : {ShapeCube, ShapeEllipse}) {
    const std::string report = std::string("):  tissue shape is outside the ") +
                               (kind == ShapeCube ? "outermost tissue shape" : "Medium shape") +
                               ", initial model error!\n\n";
    trelMedium medium;
    AddTissue(medium, Place(new BoxOfKind(kind), 0, 0, 0, 10, 10, 10));
    AddTissue(medium, Place(new BoxOfKind(kind), 5, 5, 5, 1, 1, 1));
    trelTissue* out = AddTissue(medium, Place(new BoxOfKind(kind), 9, 0, 0, 2, 1, 1));
    CaptureStderr();
    EXPECT_FALSE(medium.BuildTissueGrid());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(report));
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(5, 5, 5), 1) << "the grid holds the tissues ahead";
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(report));
    Place(out->GetShape(), 9, 0, 0, 1, 1, 1);
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(9, 0, 0), 2);
    EXPECT_EQ(GetCapturedStderr(), "") << "built once the model is right";
  }
}

TEST(Medium, SurvivesModelsThatHoldNothing)
{
  CaptureStderr();
  for (const double half : {0.0, -1.0, 1e308, infinity, notANumber}) {
    trelMedium medium;
    AddTissue(medium, Place(new trelEllipsoid, 0, 0, 0, half, 1, half));
    AddTissue(medium, Place(new trelCube, 0, 0, 0, 0, 0, 0));
    medium.BuildTissueGrid();
    for (const double x : {0.0, 1.0, 1e300, infinity, notANumber})
      EXPECT_EQ(medium.GetTissueIndex(x, 0, x), medium.ConfirmTissueIndex({x, 0, x})) << half;
  }
  GetCapturedStderr();
  for (const int outermost : {0, -1, 99}) {
    trelMedium medium;
    AddTissue(medium, nullptr);
    medium.SetOutermostTissueIndex(outermost);
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), -1);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("): initial model error!\n\n"));
  }
}
