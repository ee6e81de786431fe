#include <cmath>

#include "testTools.h"
#include "trelFresnel.h"

TEST(ExactInterface, AgreesWithTheAnglesAndIsExactAtTheEnds)
{
  for (const auto& [n1, n2] : {std::pair{1.0, 1.4}, {1.4, 1.0}, {1.37, 1.38}, {1.0, 4.0}}) {
    const double normal = (n1 - n2) / (n1 + n2);
    EXPECT_DOUBLE_EQ(MeetInterface(n1, n2, 1.0).Reflectance, normal * normal);
    EXPECT_EQ(MeetInterface(n1, n2, 1.0).CosTransmit, 1.0);
    EXPECT_EQ(MeetInterface(n1, n2, 0.0).Reflectance, 1.0);
    for (double cosA = 0.01; cosA < 0.999; cosA += 0.01) {
      const trelInterface met = MeetInterface(n1, n2, cosA);
      const double sinB = n1 / n2 * std::sqrt(1.0 - cosA * cosA);
      if (sinB >= 1.0) {
        EXPECT_EQ(met.Reflectance, 1.0);
        EXPECT_EQ(met.CosTransmit, 0.0);
        continue;
      }
      // Fresnel's forms in sines and tangents of the angles.
      const double a = std::acos(cosA), b = std::asin(sinB);
      const double s = std::sin(a - b) / std::sin(a + b), p = std::tan(a - b) / std::tan(a + b);
      EXPECT_NEAR(met.Reflectance, (s * s + p * p) / 2.0, 1e-13) << n1 << " " << n2 << " " << cosA;
      const trelVector u = {std::sin(a), 0.0, -cosA}, n = {0.0, 0.0, -1.0};
      const trelVector v = RefractByCosines(u, n, n1 / n2, cosA, met.CosTransmit);
      EXPECT_NEAR(v.X, sinB, 1e-14);
      EXPECT_NEAR(v.Z, -std::cos(b), 1e-14);
    }
  }
  EXPECT_EQ(MeetInterface(1.4, 1.4, 0.3).Reflectance, 0.0);
  EXPECT_EQ(MeetInterface(1.4, 1.4, 0.3).CosTransmit, 0.3);
  EXPECT_EQ(MeetInterface(1.0, 1.5, 1.0 + 1e-15).CosTransmit, 1.0);
}
