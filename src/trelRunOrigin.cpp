#include "trelRunOrigin.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>

#include "trelExactMonteCarlo.h"
#include "trelPaths.h"
#include "trelRunRecord.h"

namespace fs = std::filesystem;

std::string FormatRanges(const std::vector<trelFlownRange>& ranges)
{
  std::ostringstream text;
  for (const trelFlownRange& range : ranges)
    text << (&range == ranges.data() ? "" : "\n") << range.Seed << ' ' << range.First << ':'
         << range.Number;
  return text.str();
}

/** False if @p text is none, or a range ends behind 2^63. */
static bool ReadRanges(const std::string& text, std::vector<trelFlownRange>* ranges)
{
  constexpr std::uint64_t most = std::uint64_t{1} << 62;
  std::istringstream lines(text);
  trelFlownRange range;
  char colon = 0;
  while (lines >> range.Seed >> range.First >> colon >> range.Number) {
    if (colon != ':' || range.First > most || range.Number > most) return false;
    ranges->push_back(range);
  }
  return lines.eof() && !ranges->empty();
}

std::string trelRunOrigin::Open(const std::string& name, File* file)
{
  file->Name = name;
  file->Input = std::make_unique<trelNetcdfInput>();
  const std::string fault = file->Input->Open(name);
  if (!fault.empty()) return name + ": " + fault;
  double done[2] = {};
  const std::string variable = GetStateVariable(trelExactMonteCarlo::StateOfProgress);
  constexpr double most = 9007199254740992.0;
  if (!file->Input->Get(variable, 0, 2, done) || !(done[0] >= 0.0 && done[0] <= most))
    return name + ": it holds no state of a run in batches, or is of another program";
  file->Input->GetCount("seed", &file->Seed);
  file->Batches = done[0];
  file->Packets = done[1];
  return "";
}

std::string trelRunOrigin::OpenContinued(const std::string& result, const std::string& checkpoint)
{
  File file;
  std::string fault = Open(result, &file);
  std::error_code error;
  if (fs::exists(NativePath(checkpoint), error)) {
    File kept;
    std::string keptFault = Open(checkpoint, &kept);
    if (!keptFault.empty()) return keptFault;
    if (fault.empty() && file.Seed != kept.Seed)
      return result + " and " + checkpoint + " are of different runs: remove one of them";
    if (!fault.empty() || file.IsBehind(kept)) file = std::move(kept);
    fault.clear();
  }
  if (!fault.empty()) return fault;
  std::uint64_t seed = 0;
  ReadRanges(file.Input->GetText("packet_ranges"), &file.Ranges);
  if (!file.Input->GetCount("seed", &seed) || file.Ranges.size() > 1)
    return file.Name + ": it is put together from parts that are no beginning of one run";
  Files.push_back(std::move(file));
  MakeState();
  return "";
}

std::string trelRunOrigin::OpenPart(const std::string& name, File* file)
{
  std::string fault = Open(name, file);
  if (!fault.empty()) return fault;
  return ReadRanges(file->Input->GetText("packet_ranges"), &file->Ranges)
             ? ""
             : name +
                   ": it does not say which packets it has; a checkpoint has to be finished"
                   " first, by --continue";
}

std::string trelRunOrigin::OpenParts(const std::vector<std::string>& names)
{
  for (const std::string& name : names) {
    std::string fault = OpenPart(name, &Files.emplace_back());
    if (!fault.empty()) return fault;
  }
  const auto order = [](const File& a, const File& b) {
    const trelFlownRange &x = a.Ranges.front(), &y = b.Ranges.front();
    return std::tie(x.Seed, x.First) < std::tie(y.Seed, y.First);
  };
  std::stable_sort(Files.begin(), Files.end(), order);
  std::string overlap = FindOverlap();
  if (!overlap.empty()) return overlap;
  JoinRanges();
  MakeState();
  return "";
}

std::string trelRunOrigin::FindOverlap() const
{
  std::vector<std::pair<trelFlownRange, const File*>> all;
  for (const File& file : Files)
    for (const trelFlownRange& range : file.Ranges)
      all.emplace_back(range, &file);
  std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
    return std::tie(a.first.Seed, a.first.First) < std::tie(b.first.Seed, b.first.First);
  });
  for (std::size_t i = 1; i < all.size(); ++i) {
    const auto& [range, file] = all[i - 1];
    if (range.Seed != all[i].first.Seed || range.First + range.Number <= all[i].first.First)
      continue;
    return file->Name + " and " + all[i].second->Name + ": both have packet " +
           std::to_string(all[i].first.First) + " of seed " + std::to_string(range.Seed);
  }
  return "";
}

void trelRunOrigin::JoinRanges()
{
  for (const File& file : Files)
    Ranges.insert(Ranges.end(), file.Ranges.begin(), file.Ranges.end());
  std::sort(Ranges.begin(), Ranges.end(), [](const trelFlownRange& a, const trelFlownRange& b) {
    return std::tie(a.Seed, a.First) < std::tie(b.Seed, b.First);
  });
  std::vector<trelFlownRange> joined;
  for (const trelFlownRange& range : Ranges) {
    const bool isNext = !joined.empty() && joined.back().Seed == range.Seed &&
                        joined.back().First + joined.back().Number == range.First;
    if (isNext) {
      joined.back().Number += range.Number;
    } else {
      joined.push_back(range);
    }
  }
  Ranges = joined;
}

void trelRunOrigin::MakeState()
{
  std::vector<const trelNetcdfInput*> inputs;
  for (const File& file : Files)
    inputs.push_back(file.Input.get());
  State = std::make_unique<trelRunStateReader>(inputs);
}

bool trelRunOrigin::HasOneSeed() const
{
  return std::all_of(Ranges.begin(), Ranges.end(),
                     [&](const trelFlownRange& range) { return range.Seed == Ranges[0].Seed; });
}

std::string trelRunOrigin::FindFileWithout(const char* part) const
{
  for (const File& file : Files)
    if (file.Batches > 0.0 && file.Input->GetLength(GetStateVariable(part)) == 0) return file.Name;
  return "";
}

bool trelRunOrigin::HasCells() const
{
  return std::all_of(Files.begin(), Files.end(), [](const File& file) {
    return file.Input->GetLength(GetStateVariable("cells_by_batch")) > 0;
  });
}

std::int64_t trelRunOrigin::GetBatches() const
{
  double batches = 0.0;
  for (const File& file : Files)
    batches += file.Batches;
  return static_cast<std::int64_t>(batches);
}

std::string trelRunOrigin::FindDifference(const trelRunRecord& record) const
{
  static const std::pair<const char*, const char*> kept[] = {
      {"rules", "the rules are not those of "},
      {"model_without_packets_sha256", "the model is not that of "},
      {"mesh_sha256", "a mesh is not that of "},
      {"elements", "absorption by tetrahedron (--elements) is not wanted as in "},
      {"coefficients_sha256", "a coefficient (--set, --mua and so on) is not that of "}};
  for (const File& file : Files) {
    for (const auto& [name, words] : kept) {
      if (file.Input->GetText(name) != record.GetText(name)) return words + file.Name;
    }
    std::uint64_t arithmetic = 0;
    file.Input->GetCount("arithmetic", &arithmetic);
    if (arithmetic != trelExactMonteCarlo::Arithmetic)
      return "the arithmetic of the program is not that of " + file.Name;
  }
  return "";
}
