#include "trelErrorGoal.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "trelDetector.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelStandardErrors.h"

static const std::string faceWords = "by the face ";

/** The totals that a model has, by their names. */
static std::vector<std::pair<std::string, trelGoalTotal>> ListTotals(
    const trelSimulationParameter& parameter)
{
  std::vector<std::pair<std::string, trelGoalTotal>> totals = {{"absorption", {"absorbed"}},
                                                               {"transmittance", {"escaped"}}};
  trelLedger ledger;
  trelLedgerSizes sizes;
  if (const trelShapeObject* shape = parameter.GetOuterShape()) sizes.Shape = shape->GetShapeType();
  ledger.Resize(1, sizes);
  for (const trelLedgerLine& line : ledger.List(0)) {
    if (line.Name.rfind(faceWords, 0) == 0)
      totals.push_back({line.Name.substr(faceWords.size()), {line.Name}});
  }
  for (int i = 0; i < parameter.GetNumberOfDetectors(); ++i) {
    const std::string number = std::to_string(i + 1);
    if (parameter.GetDetector(i)->GetDetectorType() == DetectorFiber)
      totals.push_back({"fibre" + number, {"by detector " + number}});
  }
  for (const int camera : parameter.ListCameras())
    totals.push_back({"camera" + std::to_string(camera + 1), {"", camera}});
  return totals;
}

trelGoalTotal trelErrorGoal::FindTotal(const trelSimulationParameter& parameter,
                                       const std::string& name, std::string* fault)
{
  std::string all;
  for (const auto& [word, total] : ListTotals(parameter)) {
    if (word == name) return total;
    all += (all.empty() ? "" : ", ") + word;
  }
  *fault = "the model has no such total; ask for one of " + all;
  return {};
}

void trelErrorGoal::Set(const trelGoalTotal& total, double error)
{
  Total = total;
  Goal = error;
}

void trelErrorGoal::Prepare(const std::vector<trelLedgerLine>& lines)
{
  const auto isIt = [&](const trelLedgerLine& line) { return line.Name == Total.Line; };
  const auto found = std::find_if(lines.begin(), lines.end(), isIt);
  Place = found == lines.end() ? 0 : static_cast<std::size_t>(found - lines.begin());
  Seen = 0;
  Next = 2;
  Error = std::numeric_limits<double>::quiet_NaN();
  Reached = false;
}

static double SumUp(const std::vector<double>& numbers)
{
  return std::accumulate(numbers.begin(), numbers.end(), 0.0);
}

double trelErrorGoal::FindError(const trelLedgerBatches& batches,
                                const trelCameraBatches& cameras) const
{
  double largest = 0.0;
  for (std::size_t i = 0; i < batches.GetNumberOfSpectra(); ++i) {
    // The first line is what was launched.
    if (SumUp(batches.List(i, 0)) == 0.0) continue;
    const std::vector<double> numbers =
        Total.Camera < 0 ? batches.List(i, Place) : cameras.List(i, Total.Camera);
    const double mean = SumUp(numbers) / static_cast<double>(numbers.size());
    const double error = FindErrorOfMean(numbers) / mean;
    if (!(error <= largest)) largest = error;
    if (std::isnan(largest)) break;
  }
  return largest;
}

bool trelErrorGoal::Look(const trelLedgerBatches& batches, const trelCameraBatches& cameras)
{
  if (batches.GetBatches() < Next) return false;
  Seen = batches.GetBatches();
  Next = Seen < FirstBatches ? Seen + 1 : Seen + (Seen + 9) / 10;
  Error = FindError(batches, cameras);
  Reached = IsOn() && Seen >= FirstBatches && Error < Goal;
  return true;
}

std::int64_t trelErrorGoal::FindBatches() const
{
  if (Reached) return Seen;
  const double factor = Error / Goal;
  const double needed = static_cast<double>(Seen) * factor * factor;
  if (std::isnan(needed)) return Next;
  return std::max(static_cast<std::int64_t>(std::ceil(std::min(needed, 1e15))), Next);
}
