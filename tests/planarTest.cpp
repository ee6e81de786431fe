#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "testModel.h"
#include "trelDiffuseVRMC.h"

TEST(Planar, ClearTissueScattersEachHalfMillimetre)
{
  // A strip of 0.9 mm is entered straight. After 0.5 mm the next step leaves it, with a path of no
  // more than 1 mm in all, if its cosine is above 0.8.
  const int packets = 4000;
  TestModel model(DOT, Dimension2D);
  model->SetSavePhotonFlyTime(true);
  model.AddTissue(MakeShape(ShapeRectangle, {0.45, 0, 0}, {0.45, 40, 0}), {0.0, 0.05, 1.0, 1.0});
  trelLightSource* light =
      model.AddSource(MakeShape(ShapeRectangle, {-0.1, 0, 0}, {0, 0, 0}), packets);
  light->SetInternal(false);
  light->SetAzimuthRange(0, 0);
  Traced<trelDiffuseVRMC> run(model);
  const trelMediumResult& r = run[0];
  ASSERT_EQ(r.GetTransmitPhotonNum(), packets);
  int quick = 0, upwards = 0;
  for (int i = 0; i < packets; ++i) {
    const trelFlyTimeRow& row = r.GetPhotonFlyTimes()[i];
    if (row[3] > 10.0 / 3 + 1e-9) continue;
    ++quick;
    upwards += row[1] > 0.0;
  }
  const double p = std::acos(0.8) / Pi;
  EXPECT_NEAR(quick, packets * p, 5.0 * std::sqrt(packets * p * (1 - p)));
  EXPECT_NEAR(upwards, quick / 2, 2.5 * std::sqrt(quick));
}

TEST(Planar, AnInnerEdgeRefractsOrTurnsToTheFormerAngle)
{
  // From the origin at 30 degrees through the edge of a tissue of 0.1 by 0.05 mm, whose corner
  // would lie at 26.6, and out of 0.2 by 0.2 mm of index 1.4. Between equal indices the angle of
  // the last real refraction is used, 0 before there was one.
  const double u[2] = {std::cos(Pi / 6), std::sin(Pi / 6)};
  const double hx = 0.1, hy = 0.05, steep = std::hypot(u[0] / hx / hx, u[1] / hy / hy);
  const struct
  {
    ShapeType Shape;
    double Away, Normal[2];  ///< of the edge
  } edges[] = {{ShapeRectangle, hy / u[1], {0, 1}},
               {ShapeEllipse,
                1.0 / std::hypot(u[0] / hx, u[1] / hy),
                {u[0] / hx / hx / steep, u[1] / hy / hy / steep}}};
  for (const auto& edge : edges) {
    const double *n = edge.Normal, sinIncidence = u[0] * n[1] - u[1] * n[0];
    const double refracted = std::asin(sinIncidence * 1.5 / 1.4);
    const double cases[][3] = {{1.4, 0, 0}, {1.4, 0.3, 0.3}, {1.5, 0.3, refracted}};
    for (const auto& [index, former, angle] : cases) {
      TestModel model(DOT, Dimension2D);
      model->GetMedium()->SetAmbientRefractiveIndex(1.4);
      model->SetSavePhotonFlyTime(true);
      model.AddTissue(MakeShape(ShapeRectangle, {0, 0, 0}, {0.2, 0.2, 0}), {0.1, 0.1, 0, 1.4});
      model.AddTissue(MakeShape(edge.Shape, {0, 0, 0}, {hx, hy, 0}), {0.1, 0.1, 0, index});
      model.AddSource(MakeShape(ShapeRectangle, {0, 0, 0}, {0, 0, 0}), 100)
          ->SetAzimuthRange(30, 30);
      Traced<trelDiffuseVRMC> run(model, 0, former);
      // The tangent (n[1], -n[0]) has the side to which the packet goes.
      const double vx = std::sin(angle) * n[1] + std::cos(angle) * n[0];
      const double vy = -std::sin(angle) * n[0] + std::cos(angle) * n[1];
      const double x = edge.Away * u[0], y = edge.Away * u[1];
      const double further = std::min((0.2 - x) / vx, (0.2 - y) / vy);
      const double exit[] = {x + further * vx, y + further * vy, 0,
                             (index * edge.Away + 1.4 * further) * 10 / 3};
      int expected = 0;
      for (std::int64_t i = 0; i < run[0].GetTransmitPhotonNum(); ++i) {
        expected += std::equal(exit, exit + 4, run[0].GetPhotonFlyTimes()[i],
                               [](double a, double b) { return std::fabs(a - b) < 1e-12; });
      }
      // The others, some in a hundred, scattered or were reflected.
      EXPECT_GT(expected, 80) << edge.Shape << " " << index << " " << former;
    }
  }
}

TEST(Planar, ASolidAsTheMediumGivesAnEmptyResult)
{
  // A parameter file can say so: its second section knows solids.
  TestModel model(DOT, Dimension2D);
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.1, 1.0, 0.0, 1.4});
  model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 100);
  Traced<trelDiffuseVRMC> run(model);
  const trelMediumResult& r = run[0];
  EXPECT_GT(r.GetTransmitPhotonNum() + r.GetAbsorpPhotonNum(), 0);
  EXPECT_EQ(Light(r) + r.GetTotalAbsorption3D() + r.GetTotalTransmittance3D(), 0.0);
}
