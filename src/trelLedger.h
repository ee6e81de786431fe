#ifndef trelLedger_h
#define trelLedger_h

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "trelShapeTraits.h"

class trelStateArchive;

/** Where the light of a wavelength comes from, and what becomes of it unless it is absorbed,
 * escapes or is collected. */
enum trelLedgerPart
{
  LedgerFromSources,       ///< launched by sources
  LedgerEmitted,           ///< launched by dyes
  LedgerConvertedInto,     ///< what dyes converted into this wavelength, by expectation
  LedgerReflectedAtEntry,  ///< packets: those of which nothing enters, beyond the critical angle
  LedgerNotLaunched,       ///< light that does not meet the medium
  LedgerAbsorbedWhole,     ///< packets only, whose weight an interaction took to the last
  LedgerInRegion,          ///< of what is absorbed: what the absorption grid took
  LedgerWithoutEmission,   ///< of what dyes took of the sources' light: 1 - yield
  LedgerConverted,         ///< the yield of it, by expectation
  LedgerEndedBySteps,      ///< at "stepnummax"
  LedgerEndedByTime,       ///< at "flytimemax"
  LedgerTrapped,           ///< met too many boundaries without an interaction
  LedgerLost,              ///< met no boundary in clear tissue
  LedgerRoulette,          ///< weight of the losers minus what the winners gained
  NumberOfLedgerParts
};

/** A sum of weights, which keeps what rounding takes off (O. Moller, BIT 5 (1965) 37): so that
 * parts add up to the last digits, however many packets of equal weight there are. */
struct trelLedgerSum
{
  double Sum = 0.0;
  double Rest = 0.0;
  std::uint64_t Packets = 0;
  // Of what leaves: weight times time of flight, ps, and times the length of the path, mm.
  double Time = 0.0;
  double Path = 0.0;

  double GetWeight() const { return Sum + Rest; }
  void AddWeight(double weight)
  {
    const double sum = Sum + weight;
    const double taken = sum - Sum;
    Rest += (Sum - (sum - taken)) + (weight - taken);
    Sum = sum;
  }
  /** A packet that starts or ends. */
  void AddPacket(double weight)
  {
    AddWeight(weight);
    ++Packets;
  }
  /** A packet that leaves. */
  void AddExit(double weight, double time, double path)
  {
    AddPacket(weight);
    Time += weight * time;
    Path += weight * path;
  }
  void Scale(double factor)
  {
    Sum *= factor;
    Rest *= factor;
    Time *= factor;
    Path *= factor;
  }
  void Add(const trelLedgerSum& other)
  {
    AddWeight(other.Sum);
    Rest += other.Rest;
    Packets += other.Packets;
    Time += other.Time;
    Path += other.Path;
  }
};

/** How many tissues, dyes and detectors the records of a ledger tell apart. */
struct trelLedgerSizes
{
  std::size_t Tissues = 0;
  std::size_t Dyes = 0;
  std::size_t Detectors = 0;
  ShapeType Shape = ShapeCube;  ///< the outermost, whose faces are told apart
};

/** The light of one wavelength. Weights in the unit of the sources' energy. */
struct trelLedgerRecord
{
  trelLedgerSum Parts[NumberOfLedgerParts];
  std::vector<trelLedgerSum> Tissues;  ///< what is absorbed by each; no packets
  std::vector<trelLedgerSum> Dyes;     ///< the same
  std::vector<trelLedgerSum> Fibers;   ///< what each collects, by detector; cameras have 0
  /** What leaves through each face of the outermost shape, as its rays number them. */
  trelLedgerSum Faces[MaximumNumberOfFaces];

  trelLedgerSum GetLaunched() const;
  /** By tissue and by dye. */
  trelLedgerSum GetAbsorbed() const;
  trelLedgerSum GetEscaped() const;
  trelLedgerSum GetCollected() const;
  /** All that light ends with. */
  trelLedgerSum GetEnds() const;
  /** What is missing to the identity of trelLedger: rounding, else something is wrong. */
  double FindMissingWeight() const { return GetLaunched().GetWeight() - GetEnds().GetWeight(); }
  std::int64_t FindMissingPackets() const
  {
    return static_cast<std::int64_t>(GetLaunched().Packets - GetEnds().Packets);
  }
};

/** A number with its standard error, NaN if that is not known. */
struct trelEstimate
{
  double Mean = std::numeric_limits<double>::quiet_NaN();
  double Error = std::numeric_limits<double>::quiet_NaN();
};

/** A line of the ledger. */
struct trelLedgerLine
{
  std::string Name;
  int Level;  ///< 0 for the terms of the identity, 1 for what one of them consists of
  double Weight;
  std::uint64_t Packets;
  bool HasPackets;  ///< packets start or end here, else there is a weight only
  double Error = std::numeric_limits<double>::quiet_NaN();  ///< standard error of the weight
  // Of light that leaves, else 0: weight times time of flight, ps, and path, mm; and their means
  // over the weight.
  double Time = 0.0;
  double Path = 0.0;
  trelEstimate MeanTime = {}, MeanPath = {};

  bool HasMeans() const { return !std::isnan(MeanTime.Mean); }
};

/**
 * @class   trelLedger
 * @brief   what became of the light of a run, or of a part of it, for each wavelength
 *
 * In each wavelength, within rounding, 1e-12 of what was launched,
 *
 *   launched = reflected at entry + not launched + absorbed + escaped + collected
 *            + ended by steps + ended by time + trapped + lost + roulette's balance,
 *
 * and the same of packets, without rounding: of the roulette the losers count, of what is absorbed
 * the packets that an interaction took whole. The roulette's balance has the expectation 0. So has
 * the conversion's, which is none of these terms: what dyes launched minus what they converted.
 *
 * Each thread has one of its own. Those of threads and of parts of a run are added together.
 */
struct trelLedger
{
  /** Empty records for @p spectra wavelengths. May throw. */
  void Resize(std::size_t spectra, const trelLedgerSizes& sizes);
  /** Adds what @p other has, of the same size; an empty one takes its size, and may throw. */
  void Add(trelLedger& other);

  /** All sums are 0 again. */
  void Clear();
  /** Multiplies all weights by @p factor; the packets stay. */
  void Scale(double factor);
  /** Passes all sums. */
  void PassState(const char* name, trelStateArchive& archive);

  /** All packets of an end, and those that fibres collected. */
  std::uint64_t CountPackets(trelLedgerPart part) const;
  std::uint64_t CountCollected() const;

  /** Everything that a record tells, in the order in which it is read. The lines of all ledgers of
   * a model are the same, those that are 0 too, so that parts of a run compare by place. */
  std::vector<trelLedgerLine> List(std::size_t spectrum) const;

  std::vector<trelLedgerRecord> Records;  ///< by wavelength index
  ShapeType Shape = ShapeCube;
};

#endif
