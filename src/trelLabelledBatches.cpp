#include "trelLabelledBatches.h"

#include <algorithm>
#include <cmath>
#include <numeric>

trelLabelledBatches::trelLabelledBatches(trelNetcdfFile& file, const Input& input,
                                         const std::vector<int>& order)
    : File(file), Source(input), Order(order)
{
}

bool trelLabelledBatches::HasBatches() const
{
  return Source.Projections && Source.Projections->GetBatches() > 1 &&
         File.AddDimension("batch", Source.Projections->GetRows().size());
}

/** Finds the numbers of each wavelength; false if there are none. */
template <class FindSlice>
bool trelLabelledBatches::ListSlices(const Numbers& numbers, const trelLabelledOwner& owner,
                                     const FindSlice& find, std::vector<trelBatchSlice>& slices)
{
  for (const int spectrum : Order) {
    slices.push_back(find({spectrum, owner.Detector}));
    const std::size_t number = slices.back().Number;
    if (number == 0) return false;
    if (number == numbers.Factors.size()) continue;
    File.Fail("the batches of " + numbers.Variable.Name + " differ in shape");
    return false;
  }
  return true;
}

/** Of a number of the file in the rows of the batches. */
static std::size_t PlaceIn(const trelBatchSlice& slice, bool isReversed, std::size_t k)
{
  return slice.First + (isReversed ? slice.Number - 1 - k : k);
}

/** A number of the file, as the batches have it. */
trelEstimate trelLabelledBatches::Find(const Numbers& numbers, std::size_t wavelength,
                                       std::size_t k) const
{
  const trelBatchProjections& batches = *Source.Projections;
  const std::size_t place = PlaceIn(numbers.Slices[wavelength], numbers.IsReversed, k);
  if (numbers.ImagSlices.empty()) return {batches.FindMean(place), batches.FindError(place)};
  const std::size_t imag = PlaceIn(numbers.ImagSlices[wavelength], numbers.IsReversed, k);
  const trelComplexSums sums = batches.SumComplex(place, imag);
  const auto count = static_cast<double>(batches.GetBatches());
  const trelPolarErrors errors = FindPolarErrors(sums, batches.GetBatches());
  if (numbers.IsPhase) return {std::atan2(sums.Imag, sums.Real) / RadiansPerDegree, errors.Phase};
  return {std::hypot(sums.Real, sums.Imag) / count, errors.Amplitude};
}

void trelLabelledBatches::WriteMeans(const Numbers& numbers)
{
  std::vector<double> means, errors;
  for (std::size_t i = 0; i < Order.size(); ++i) {
    for (std::size_t k = 0; k < numbers.Factors.size(); ++k) {
      const trelEstimate number = Find(numbers, i, k);
      const double factor = numbers.IsPhase ? 1.0 : numbers.Factors[k];
      means.push_back(number.Mean * factor);
      errors.push_back(number.Error * factor);
    }
  }
  File.AddVariable(numbers.Variable);
  File.PutAll(numbers.Variable.Name, means.data());
  const trelNetcdfVariable error = DescribeError(numbers.Variable);
  File.AddVariable(error);
  File.PutAll(error.Name, errors.data());
  File.SetText(numbers.Variable.Name, "ancillary_variables", error.Name);
}

trelNetcdfVariable DescribeBatches(const trelNetcdfVariable& variable)
{
  trelNetcdfVariable batches = variable;
  batches.Name += "_batches";
  batches.LongName = "by batch: " + batches.LongName;
  batches.Dimensions.insert(batches.Dimensions.begin(), "batch");
  return batches;
}

void trelLabelledBatches::WriteBatches(const Numbers& numbers)
{
  const trelNetcdfVariable variable = DescribeBatches(numbers.Variable);
  std::vector<double> values;
  for (const std::vector<double>& row : Source.Projections->GetRows())
    for (std::size_t i = 0; i < Order.size(); ++i)
      for (std::size_t k = 0; k < numbers.Factors.size(); ++k)
        values.push_back(row[PlaceIn(numbers.Slices[i], numbers.IsReversed, k)] *
                         numbers.Factors[k]);
  File.AddVariable(variable);
  File.PutAll(variable.Name, values.data());
}

/** What the sums of the time gates, or the one sum of another domain, are multiplied with. */
static std::vector<double> ListGateFactors(const trelLabelledDomain& domain,
                                           const trelGridWindow& window)
{
  const std::int32_t gates = domain.IsByTime ? window.Time.Count : 1;
  std::vector<double> factors;
  factors.reserve(static_cast<std::size_t>(gates));
  for (std::int32_t gate = 0; gate < gates; ++gate)
    factors.push_back(GetGateFactor(domain, window, gate));
  return factors;
}

void trelLabelledBatches::WriteTotal(const trelNetcdfVariable& variable, trelGridTotal total,
                                     const trelLabelledOwner& owner,
                                     const trelLabelledDomain& domain, const trelGridWindow& window)
{
  if (!HasBatches()) return;
  Numbers numbers{variable, ListGateFactors(domain, window)};
  const auto find = [&](const trelRecordOwner& of) {
    return Source.Projections->FindTotal(of, domain.IsByTime, total);
  };
  if (ListSlices(numbers, owner, find, numbers.Slices)) WriteBatches(numbers);
}

/** Sums of cells, where @p find tells those of a domain. Amplitude and phase follow from the
 * batches of both parts, and have none of their own. */
template <class FindSlice>
void trelLabelledBatches::WriteSums(Numbers numbers, const trelLabelledOwner& owner,
                                    trelGridDomain domain, const FindSlice& find)
{
  const bool isPolar = domain == GridFDAmp || domain == GridFDPha;
  const auto list = [&](trelGridDomain of, std::vector<trelBatchSlice>& slices) {
    return ListSlices(
        numbers, owner, [&](const trelRecordOwner& record) { return find(record, of); }, slices);
  };
  numbers.IsPhase = domain == GridFDPha;
  if (!list(isPolar ? GridFDReal : domain, numbers.Slices)) return;
  if (isPolar && !list(GridFDImag, numbers.ImagSlices)) return;
  WriteMeans(numbers);
  if (!isPolar) WriteBatches(numbers);
}

void trelLabelledBatches::WriteGrid(trelGridId grid, const trelLabelledOwner& owner,
                                    const trelLabelledDomain& domain, const trelGridWindow& window)
{
  if (!HasBatches()) return;
  const trelGridDescription& row = GetGridDescription(grid);
  for (int axis = 0; axis < row.NumberOfAxes && row.Axes[0] < GridMeshFace; ++axis) {
    const trelGridBins& bins = window.Bins[row.Axes[axis]];
    std::vector<double> factors;
    factors.reserve(static_cast<std::size_t>(bins.Count));
    for (std::int32_t k = 0; k < bins.Count; ++k)
      factors.push_back(1.0 / bins.GetWidth(k));
    WriteSums({DescribeProjection(grid, owner, domain, axis), factors, row.Axes[axis] == GridD},
              owner, domain.Domain, [&](const trelRecordOwner& record, trelGridDomain of) {
                return Source.Projections->FindProjection(record, of, grid, axis);
              });
  }
  if (HasTotal(grid, owner, domain)) return;
  WriteSums({DescribeSums(grid, owner, domain), ListGateFactors(domain, window)}, owner,
            domain.Domain, [&](const trelRecordOwner& record, trelGridDomain of) {
              return Source.Projections->FindSums(record, of, grid);
            });
}

void trelLabelledBatches::WriteCamera(const trelNetcdfVariable& total, int detector)
{
  if (!Source.Cells || !HasBatches()) return;
  const trelCameraBatches& cameras = Source.Cells->GetCameras();
  const auto batches = static_cast<std::size_t>(Source.Cells->GetBatches());
  std::vector<double> errors, totals(batches * Order.size());
  for (std::size_t i = 0; i < Order.size(); ++i) {
    const auto spectrum = static_cast<std::size_t>(Order[i]);
    errors.push_back(cameras.FindError(spectrum, detector));
    const std::vector<double> own = cameras.List(spectrum, detector);
    for (std::size_t batch = 0; batch < own.size(); ++batch)
      totals[batch * Order.size() + i] = own[batch];
  }
  const auto write = [&](const trelNetcdfVariable& variable, const std::vector<double>& values) {
    File.AddVariable(variable);
    File.PutAll(variable.Name, values.data());
  };
  write(DescribeError(total), errors);
  File.SetText(total.Name, "ancillary_variables", DescribeError(total).Name);
  write(DescribeBatches(total), totals);
}

// The ledger

void trelLabelledBatches::PutLedger(const trelNetcdfVariable& variable, const LineRange& lines,
                                    FindNumber find)
{
  std::vector<double> values;
  for (const int spectrum : Order)
    for (std::size_t i = 0; i < lines.Number; ++i)
      values.push_back(find(Source.Lines[static_cast<std::size_t>(spectrum)][lines.First + i]));
  File.AddVariable(variable);
  File.PutAll(variable.Name, values.data());
}

void trelLabelledBatches::WriteLedgerEstimate(const trelNetcdfVariable& variable,
                                              const LineRange& lines, FindNumber mean,
                                              FindNumber error)
{
  PutLedger(variable, lines, mean);
  if (!HasBatches()) return;
  PutLedger(DescribeError(variable), lines, error);
  File.SetText(variable.Name, "ancillary_variables", DescribeError(variable).Name);
}

void trelLabelledBatches::WriteLedgerBatches(const trelNetcdfVariable& variable,
                                             const LineRange& lines,
                                             trelLedgerBatches::Quantities quantity)
{
  if (!HasBatches() || !Source.Ledger) return;
  const trelNetcdfVariable batches = DescribeBatches(variable);
  std::vector<double> values;
  for (std::int64_t batch = 0; batch < Source.Ledger->GetBatches(); ++batch)
    for (const int spectrum : Order)
      for (std::size_t i = 0; i < lines.Number; ++i)
        values.push_back(Source.Ledger->Get(batch, static_cast<std::size_t>(spectrum),
                                            lines.First + i, quantity));
  File.AddVariable(batches);
  File.PutAll(batches.Name, values.data());
}

void trelLabelledBatches::WriteLedger()
{
  if (Source.Lines.empty()) return;
  std::vector<std::string> names;
  for (const trelLedgerLine& line : Source.Lines.front())
    names.push_back(line.Name);
  const LineRange all = {0, names.size()};
  File.AddDimension("ledger_line", names.size());
  File.AddVariable({"ledger_line", "lines of the ledger", "", {"ledger_line"}, NetcdfText});
  File.PutAll("ledger_line", names);
  const auto describe = [](const char* name, const char* words, const char* units) {
    return trelNetcdfVariable{name, words, units, {"wavelength", "ledger_line"}};
  };
  const auto weight = describe("ledger_weight", "what became of the light, by weight", "1");
  WriteLedgerEstimate(
      weight, all, [](const trelLedgerLine& line) { return line.Weight; },
      [](const trelLedgerLine& line) { return line.Error; });
  WriteLedgerBatches(weight, all, trelLedgerBatches::Weight);
  std::vector<std::int64_t> packets;
  for (const int spectrum : Order)
    for (const trelLedgerLine& line : Source.Lines[static_cast<std::size_t>(spectrum)])
      packets.push_back(line.HasPackets ? static_cast<std::int64_t>(line.Packets) : -1);
  trelNetcdfVariable counts =
      describe("ledger_packets", "packets that start or end there; -1: there are none", "1");
  counts.Type = NetcdfCount;
  File.AddVariable(counts);
  File.PutAll(counts.Name, packets.data());
  WriteLedgerEstimate(
      describe("ledger_mean_time", "mean time of flight of what leaves", "ps"), all,
      [](const trelLedgerLine& line) { return line.MeanTime.Mean; },
      [](const trelLedgerLine& line) { return line.MeanTime.Error; });
  WriteLedgerBatches(describe("ledger_time", "weight of what leaves times time of flight", "ps"),
                     all, trelLedgerBatches::Time);
  WriteLedgerEstimate(
      describe("ledger_mean_path", "mean length of the path of what leaves", "mm"), all,
      [](const trelLedgerLine& line) { return line.MeanPath.Mean; },
      [](const trelLedgerLine& line) { return line.MeanPath.Error; });
  WriteLedgerBatches(describe("ledger_path", "weight of what leaves times length of path", "mm"),
                     all, trelLedgerBatches::Path);
}

void trelLabelledBatches::WriteRegions(std::int32_t regions)
{
  if (Source.Lines.empty() || regions < 1) return;
  const std::vector<trelLedgerLine>& lines = Source.Lines.front();
  const auto first = std::find_if(lines.begin(), lines.end(), [](const trelLedgerLine& line) {
    return line.Name == "by tissue 1";
  });
  const LineRange range = {static_cast<std::size_t>(first - lines.begin()),
                           static_cast<std::size_t>(regions)};
  if (range.First + range.Number > lines.size()) return;
  std::vector<std::int32_t> numbers(range.Number);
  std::iota(numbers.begin(), numbers.end(), 0);
  File.AddDimension("region", range.Number);
  File.AddVariable(
      {"region", "region of the mesh, from 0: its tissue", "1", {"region"}, NetcdfInteger});
  File.PutAll("region", numbers.data());
  const trelNetcdfVariable absorbed{"absorption_region",
                                    "energy absorbed in each region by its tissue",
                                    "1",
                                    {"wavelength", "region"}};
  WriteLedgerEstimate(
      absorbed, range, [](const trelLedgerLine& line) { return line.Weight; },
      [](const trelLedgerLine& line) { return line.Error; });
  WriteLedgerBatches(absorbed, range, trelLedgerBatches::Weight);
}
