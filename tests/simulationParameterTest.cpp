#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelFixtures.h"
#include "trelFiberDetector.h"
#include "trelParameterValidation.h"
#include "trelPlaneDetector.h"
#include "trelSimulationParameter.h"

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// What a parameter file can bring about is tested with the files of tests/models.

/** What @p parameter says when it is validated. */
static std::string Validate(trelSimulationParameter& parameter)
{
  CaptureStderr();
  parameter.Validate();
  return GetCapturedStderr();
}

TEST(SimulationParameter, RefusesWhatNoFileAsksFor)
{
  EXPECT_STREQ(FindLuminousFault(BLT, LuminousDiffuse),
               "The luminous type of the light source in BLT is wrong!\n");
  trelSimulationParameter parameter;
  parameter.AddDetector(new trelPlaneDetector);
  EXPECT_EQ(Validate(parameter), "");
  parameter.SetContinuousWave(false);
  EXPECT_THAT(Validate(parameter), HasSubstr("must be conducted in continue-wave domain!\n"));
}

TEST(SimulationParameter, ReportsAShapeThatItDoesNotKnow)
{
  trelSimulationParameter parameter;
  auto* shape = Place(new BoxOfKind(static_cast<ShapeType>(7)), 0, 0, 0, 3, 4, 5);
  AddTissue(*parameter.GetMedium(), shape);
  double roi[12];
  CaptureStderr();
  parameter.GetROI(roi);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("): error happens while compute count!\n\n"));
  EXPECT_EQ(roi[2 * AxisRadial + 1], 3.0);
}

TEST(SimulationParameter, OwnsWhatItIsGiven)
{
  trelSimulationParameter parameter;
  auto* fiber = new trelFiberDetector;
  fiber->Register();
  parameter.AddDetector(fiber);
  parameter.AddDetector(new trelPlaneDetector);
  for (int run = 0; run < 2; ++run)
    EXPECT_EQ(parameter.CountFiberDetectors(), 1);
  parameter.SetDetectors(new trelList);
  EXPECT_EQ(fiber->GetReferenceCount(), 1);
  EXPECT_EQ(parameter.GetNumberOfDetectors(), 0);
  fiber->UnRegister();

  parameter.ClearModel();
  EXPECT_EQ(parameter.GetTissue(0), nullptr);
  EXPECT_EQ(parameter.GetOuterShape(), nullptr);
  parameter.AddDetector(new trelPlaneDetector);
  EXPECT_EQ(parameter.GetNumberOfDetectors(), 1);
}

TEST(SimulationParameter, PreparesTheGridAheadOfTheRun)
{
  trelSimulationParameter parameter;
  AddTissue(*parameter.GetMedium(), Place(new trelCube, 0, 0, 0, 3, 4, 5));
  AddTissue(*parameter.GetMedium(), Place(new trelCube, 3, 0, 0, 1, 1, 1));
  CaptureStderr();
  parameter.PrepareGeometry();
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("outside the outermost tissue shape"));
  EXPECT_EQ(parameter.GetMedium()->GetTissueShape(0), parameter.GetOuterShape());
}
