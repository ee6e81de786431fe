#include "trelLedger.h"

#include <cctype>

#include "trelGridTable.h"
#include "trelStateArchive.h"

/** Those that are one part. */
static constexpr trelLedgerPart ends[] = {
    LedgerReflectedAtEntry, LedgerNotLaunched, LedgerEndedBySteps, LedgerEndedByTime,
    LedgerTrapped,          LedgerLost,        LedgerRoulette};

template <class Sums>
static trelLedgerSum SumUp(const Sums& sums)
{
  trelLedgerSum all;
  for (const trelLedgerSum& sum : sums)
    all.Add(sum);
  return all;
}

trelLedgerSum trelLedgerRecord::GetLaunched() const
{
  trelLedgerSum all = Parts[LedgerFromSources];
  all.Add(Parts[LedgerEmitted]);
  return all;
}

trelLedgerSum trelLedgerRecord::GetAbsorbed() const
{
  trelLedgerSum all = Parts[LedgerAbsorbedWhole];
  all.Add(SumUp(Tissues));
  all.Add(SumUp(Dyes));
  return all;
}

trelLedgerSum trelLedgerRecord::GetEscaped() const
{
  return SumUp(Faces);
}

trelLedgerSum trelLedgerRecord::GetCollected() const
{
  return SumUp(Fibers);
}

trelLedgerSum trelLedgerRecord::GetEnds() const
{
  trelLedgerSum all = GetAbsorbed();
  all.Add(GetEscaped());
  all.Add(GetCollected());
  for (const trelLedgerPart part : ends)
    all.Add(Parts[part]);
  return all;
}

void trelLedger::Resize(std::size_t spectra, const trelLedgerSizes& sizes)
{
  trelLedgerRecord empty;
  empty.Tissues.resize(sizes.Tissues);
  empty.Dyes.resize(sizes.Dyes);
  empty.Fibers.resize(sizes.Detectors);
  Records.assign(spectra, empty);
  Shape = sizes.Shape;
}

/** All sums of a ledger, in an order of its own. */
static std::vector<trelLedgerSum*> ListSums(trelLedger& ledger)
{
  std::vector<trelLedgerSum*> sums;
  const auto list = [&](auto& several) {
    for (trelLedgerSum& sum : several)
      sums.push_back(&sum);
  };
  for (trelLedgerRecord& record : ledger.Records) {
    list(record.Parts);
    list(record.Tissues);
    list(record.Dyes);
    list(record.Fibers);
    list(record.Faces);
  }
  return sums;
}

void trelLedger::Add(trelLedger& other)
{
  if (Records.empty()) {
    *this = other;
    return;
  }
  const std::vector<trelLedgerSum*> sums = ListSums(*this), others = ListSums(other);
  for (std::size_t i = 0; i < others.size(); ++i)
    sums[i]->Add(*others[i]);
}

void trelLedger::Clear()
{
  for (trelLedgerSum* sum : ListSums(*this))
    *sum = {};
}

void trelLedger::Scale(double factor)
{
  for (trelLedgerSum* sum : ListSums(*this))
    sum->Scale(factor);
}

void trelLedger::PassState(const char* name, trelStateArchive& archive)
{
  const std::vector<trelLedgerSum*> sums = ListSums(*this);
  std::vector<double> numbers;
  for (const trelLedgerSum* sum : sums)
    numbers.insert(numbers.end(),
                   {sum->Sum, sum->Rest, static_cast<double>(sum->Packets), sum->Time, sum->Path});
  archive.Pass(name, numbers);
  const double* next = numbers.data();
  for (trelLedgerSum* sum : sums) {
    *sum = {next[0], next[1], static_cast<std::uint64_t>(next[2]), next[3], next[4]};
    next += 5;
  }
}

std::uint64_t trelLedger::CountPackets(trelLedgerPart part) const
{
  std::uint64_t packets = 0;
  for (const trelLedgerRecord& record : Records)
    packets += record.Parts[part].Packets;
  return packets;
}

std::uint64_t trelLedger::CountCollected() const
{
  std::uint64_t packets = 0;
  for (const trelLedgerRecord& record : Records)
    packets += record.GetCollected().Packets;
  return packets;
}

/** Lines as they are made. */
struct trelLedgerLines
{
  std::vector<trelLedgerLine> Lines;

  void Add(int level, const std::string& name, const trelLedgerSum& sum)
  {
    Lines.push_back({name, level, sum.GetWeight(), sum.Packets, true});
  }
  /** Light that leaves; of none there is no mean. */
  void AddExit(int level, const std::string& name, const trelLedgerSum& sum)
  {
    Add(level, name, sum);
    trelLedgerLine& line = Lines.back();
    line.Time = sum.Time;
    line.Path = sum.Path;
    line.MeanTime.Mean = sum.Time / line.Weight;
    line.MeanPath.Mean = sum.Path / line.Weight;
  }
  void AddWeight(const std::string& name, const trelLedgerSum& sum)
  {
    Lines.push_back({name, 1, sum.GetWeight(), 0, false});
  }
  void AddWeights(const std::string& name, const std::vector<trelLedgerSum>& sums)
  {
    for (std::size_t i = 0; i < sums.size(); ++i)
      AddWeight(name + std::to_string(i + 1), sums[i]);
  }
};

/** The faces by the words of the result files; a surface in one piece has none. */
static void ListFaces(const trelLedgerRecord& record, ShapeType shape, trelLedgerLines& lines)
{
  for (const trelGridUse& use : GetTransmittanceUses(shape, GetShapeTraits(shape).Coordinate)) {
    if (use.Face == AnyFace) continue;
    std::string word = GetGridDescription(use.Grid).Surface;
    word[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(word[0])));
    lines.AddExit(1, "by the face " + word, record.Faces[use.Face]);
  }
}

static void ListAbsorbed(const trelLedgerRecord& record, trelLedgerLines& lines)
{
  lines.Add(0, "absorbed", record.GetAbsorbed());
  lines.AddWeight("in the grid's region", record.Parts[LedgerInRegion]);
  lines.AddWeights("by tissue ", record.Tissues);
  lines.AddWeights("by dye ", record.Dyes);
  lines.AddWeight("dyes, without emission", record.Parts[LedgerWithoutEmission]);
  lines.AddWeight("dyes, converted", record.Parts[LedgerConverted]);
}

static void ListLaunched(const trelLedgerRecord& record, trelLedgerLines& lines)
{
  const trelLedgerSum& emitted = record.Parts[LedgerEmitted];
  const trelLedgerSum& converted = record.Parts[LedgerConvertedInto];
  trelLedgerSum balance;
  balance.AddWeight(emitted.GetWeight() - converted.GetWeight());
  lines.Add(0, "launched", record.GetLaunched());
  lines.Add(1, "by dyes", emitted);
  lines.AddWeight("converted by dyes", converted);
  lines.AddWeight("conversion's balance", balance);
}

std::vector<trelLedgerLine> trelLedger::List(std::size_t spectrum) const
{
  const trelLedgerRecord& record = Records[spectrum];
  trelLedgerLines lines;
  ListLaunched(record, lines);
  lines.Add(0, "reflected at entry", record.Parts[LedgerReflectedAtEntry]);
  lines.Add(0, "not launched", record.Parts[LedgerNotLaunched]);
  ListAbsorbed(record, lines);
  lines.AddExit(0, "escaped", record.GetEscaped());
  ListFaces(record, Shape, lines);
  lines.AddExit(0, "collected by fibres", record.GetCollected());
  for (std::size_t i = 0; i < record.Fibers.size(); ++i)
    lines.AddExit(1, "by detector " + std::to_string(i + 1), record.Fibers[i]);
  lines.Add(0, "ended by stepnummax", record.Parts[LedgerEndedBySteps]);
  lines.Add(0, "ended by flytimemax", record.Parts[LedgerEndedByTime]);
  lines.Add(0, "trapped", record.Parts[LedgerTrapped]);
  lines.Add(0, "lost in clear tissue", record.Parts[LedgerLost]);
  lines.Add(0, "roulette's balance", record.Parts[LedgerRoulette]);
  return lines.Lines;
}
