#include "trelErrorGoal.h"

#include <algorithm>
#include <cmath>

#include "trelDetector.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"

static const std::string faceWords = "by the face ";

/** The totals that a model has: the words, and the lines. */
static std::vector<std::pair<std::string, std::string>> ListTotals(
    const trelSimulationParameter& parameter)
{
  std::vector<std::pair<std::string, std::string>> totals = {{"absorption", "absorbed"},
                                                             {"transmittance", "escaped"}};
  trelLedger ledger;
  trelLedgerSizes sizes;
  if (const trelShapeObject* shape = parameter.GetOuterShape()) sizes.Shape = shape->GetShapeType();
  ledger.Resize(1, sizes);
  for (const trelLedgerLine& line : ledger.List(0)) {
    if (line.Name.rfind(faceWords, 0) == 0)
      totals.emplace_back(line.Name.substr(faceWords.size()), line.Name);
  }
  for (int i = 0; i < parameter.GetNumberOfDetectors(); ++i) {
    const std::string number = std::to_string(i + 1);
    if (parameter.GetDetector(i)->GetDetectorType() == DetectorFiber)
      totals.emplace_back("fibre" + number, "by detector " + number);
  }
  return totals;
}

std::string trelErrorGoal::FindLine(const trelSimulationParameter& parameter,
                                    const std::string& total, std::string* fault)
{
  std::string all;
  for (const auto& [word, line] : ListTotals(parameter)) {
    if (word == total) return line;
    all += (all.empty() ? "" : ", ") + word;
  }
  *fault = total.rfind("camera", 0) == 0
               ? "pictures of cameras are made when the run is over; ask for one of " + all
               : "the model has no such total; ask for one of " + all;
  return "";
}

void trelErrorGoal::Set(const std::string& line, double error)
{
  Line = line;
  Goal = error;
}

void trelErrorGoal::Prepare(const std::vector<trelLedgerLine>& lines)
{
  const auto isIt = [&](const trelLedgerLine& line) { return line.Name == Line; };
  const auto found = std::find_if(lines.begin(), lines.end(), isIt);
  Place = found == lines.end() ? 0 : static_cast<std::size_t>(found - lines.begin());
  Seen = 0;
  Next = 2;
  Error = std::numeric_limits<double>::quiet_NaN();
  Reached = false;
}

/** The sum of a line over the batches. */
static double SumUp(const trelLedgerBatches& batches, std::size_t spectrum, std::size_t line)
{
  double sum = 0.0;
  for (std::int64_t batch = 0; batch < batches.GetBatches(); ++batch)
    sum += batches.Get(batch, spectrum, line);
  return sum;
}

double trelErrorGoal::FindError(const trelLedgerBatches& batches) const
{
  double largest = 0.0;
  for (std::size_t i = 0; i < batches.GetNumberOfSpectra(); ++i) {
    // The first line is what was launched.
    if (SumUp(batches, i, 0) == 0.0) continue;
    const double mean = SumUp(batches, i, Place) / static_cast<double>(batches.GetBatches());
    const double error = batches.FindError(i, Place) / mean;
    if (!(error <= largest)) largest = error;
    if (std::isnan(largest)) break;
  }
  return largest;
}

bool trelErrorGoal::Look(const trelLedgerBatches& batches)
{
  if (batches.GetBatches() < Next) return false;
  Seen = batches.GetBatches();
  Next = Seen < FirstBatches ? Seen + 1 : Seen + (Seen + 9) / 10;
  Error = FindError(batches);
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
