#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "testModel.h"
#include "trelExactMonteCarlo.h"

// The exact rules against what must be true. A body cut into pieces is flown packet by packet: with
// equal numbers each packet must leave at the same place. The rest by statistics: means of batches
// within 5 standard errors of a known solution, each with a twin that must miss it.

namespace {

/** A run by the exact rules; holds the results. */
class ExactRun
{
public:
  explicit ExactRun(TestModel& model, std::uint64_t seed = 1)
  {
    model->SetRules(RulesExact);
    Ran.SetInput(model.Get());
    Ran.SetSeed(seed);
    EXPECT_TRUE(Ran.Update());
  }
  const trelMediumResult& operator[](int i) { return *Ran.GetOutput()->GetMediumResult(i); }
  const trelExactSummary& GetSummary() const { return Ran.GetSummary(); }

private:
  trelExactMonteCarlo Ran;
};

using Exit = std::array<double, 4>;  ///< x, y, z, mm, and time, ps

/** The exits of a model on one thread, in the order of the packets. */
std::vector<Exit> ExitsOf(const ModelOf& build)
{
  TestModel model;
  build(model);
  model->SetSavePhotonFlyTime(true);
  ExactRun run(model);
  const trelExactSummary& summary = run.GetSummary();
  EXPECT_EQ(summary.Lost + summary.Trapped + summary.NotLaunched, 0u);
  std::vector<Exit> exits;
  for (std::int64_t i = 0; i < run[0].GetTransmitPhotonNum(); ++i) {
    const trelFlyTimeRow& row = run[0].GetPhotonFlyTimes()[i];
    exits.push_back({row[0], row[1], row[2], row[3]});
  }
  return exits;
}

/** How far, mm and ps, the exits of two models lie apart; a large number if some are missing. */
double Apart(const ModelOf& one, const ModelOf& other)
{
  const std::vector<Exit> a = ExitsOf(one), b = ExitsOf(other);
  EXPECT_GT(a.size(), 100u);
  if (a.size() != b.size()) return 1e9 + std::fabs(double(a.size()) - double(b.size()));
  double apart = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i)
    for (int k = 0; k < 4; ++k)
      apart = std::max(apart, std::fabs(a[i][k] - b[i][k]));
  return apart;
}

const Optics turbid = {0.02, 5.0, 0.8, 1.4};

trelShapeObject* Box(double x, double y, double z, double hx, double hy, double hz)
{
  return MakeShape(ShapeCube, {x, y, z}, {hx, hy, hz});
}

/** A block of 20 x 20 x 10 mm whose centre is @p at, lit from below. */
void BuildBlock(TestModel& m, const trelVector& at, const Optics& optics)
{
  m.AddTissue(Box(at.X, at.Y, at.Z, 10, 10, 5), optics);
  m.AddPencilBeam(at.X + 0.3, at.Y - 0.2, at.Z - 5, 2000);
}

}  // namespace

TEST(ExactPieces, FlushAndNestedTissuesAreOneBody)
{
  const trelVector origin, off = {7.1, -3.3, 11.7};
  const auto whole = [](const trelVector& at) {
    return [=](TestModel& m) { BuildBlock(m, at, turbid); };
  };
  const struct
  {
    const char* Name;
    trelVector At;
    std::function<void(TestModel&)> Add;
  } cases[] = {
      {"flush layers", origin,
       [](TestModel& m) {
         for (int i = 0; i < 3; ++i)
           m.AddTissue(Box(0, 0, -4 + 2 * i, 10, 10, 1), turbid);
       }},
      {"wider than the block", origin,
       [](TestModel& m) {
         for (int i = 0; i < 5; ++i)
           m.AddTissue(Box(0, 0, -4 + 2 * i, 15, 25, 1), turbid);
       }},
      {"30 layers off the origin", off,
       [&](TestModel& m) {
         for (int i = 0; i < 30; ++i)
           m.AddTissue(Box(off.X, off.Y, off.Z - 5 + 0.05 + 0.1 * i, 10, 10, 0.05), turbid);
       }},
      {"boxes in boxes", origin,
       [](TestModel& m) {
         for (double h : {4.5, 3.0, 1.0, 0.1})
           m.AddTissue(Box(0, 0, 0, 2 * h, 2 * h, h), turbid);
       }},
      {"nested cylinders, flush with top and bottom", origin,
       [](TestModel& m) {
         for (double r : {8.0, 4.0, 1.0})
           m.AddTissue(MakeShape(ShapeCylinder, {0, 0, 0}, {r, r, 5}), turbid);
       }},
      {"concentric and overlapping balls", origin,
       [](TestModel& m) {
         for (double r : {4.0, 2.0, 1.0})
           m.AddTissue(MakeShape(ShapeEllipsoid, {0, 0, 0}, {r, r, r}), turbid);
         m.AddTissue(MakeShape(ShapeEllipsoid, {1, 1, -1}, {3, 2, 1.5}), turbid);
       }},
      {"the block again", origin,
       [](TestModel& m) { m.AddTissue(Box(0, 0, 0, 10, 10, 5), turbid); }},
  };
  for (const auto& c : cases) {
    const double apart = Apart(whole(c.At), [&](TestModel& m) {
      BuildBlock(m, c.At, turbid);
      c.Add(m);
    });
    EXPECT_LT(apart, 1e-9) << c.Name;
  }
  // The comparison sees a tissue that differs by a thousandth.
  EXPECT_GT(Apart(whole(origin),
                  [&](TestModel& m) {
                    BuildBlock(m, origin, turbid);
                    m.AddTissue(Box(0, 0, 0, 10, 10, 1), {0.02, 5.005, 0.8, 1.4});
                  }),
            1e-6);
}

namespace {

/** How many standard errors the mean of a quantity lies from what is expected. */
double Deviation(const ModelOf& build, const QuantityOf& quantity, double expected,
                 SimulationType type = DOT, SimulationDimension dimension = Dimension3D)
{
  std::vector<double> batches;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    TestModel model(type, dimension);
    build(model);
    batches.push_back(quantity(ExactRun(model, seed)[0]));
  }
  const Estimate e = EstimateOf(batches);
  return std::fabs(e.Mean - expected) / (e.Error + 1e-12);
}

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

TEST(ExactPhysics, AbsorbersAndClearSlabsFollowTheirClosedForms)
{
  // A slab without scattering between equal faces of reflectance r: the beam goes back and forth,
  // T = (1 - r)^2 a / (1 - r^2 a^2) with a = exp(-mua d).
  for (const double n : {1.0, 1.37, 1.5}) {
    for (const double mua : {0.0, 0.05, 1.0}) {
      const double r = (n - 1) * (n - 1) / (n + 1) / (n + 1), a = std::exp(-mua * 2.0);
      const double t = (1 - r) * (1 - r) * a / (1 - r * r * a * a);
      const auto build = [=](double d) {
        return [=](TestModel& m) { BuildSlab(m, d, {mua, 0.0, 0.0, n}, true); };
      };
      const auto top = &trelMediumResult::GetTransmittanceTopTotal;
      EXPECT_LT(Deviation(build(2.0), top, t), 5.0) << n << " " << mua;
      if (mua > 0.0) {
        EXPECT_GT(Deviation(build(2.2), top, t), 5.0) << n << " " << mua;
      }
    }
  }
}
