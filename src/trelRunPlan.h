#ifndef trelRunPlan_h
#define trelRunPlan_h

#include <cstdint>
#include <vector>

class trelLightSource;
class trelSpectrum;

/** The packets of one spectrum of one source. */
struct trelRunEntry
{
  const trelLightSource* Light;
  const trelSpectrum* Spectrum;
  std::uint64_t Entry;   ///< number of the source and of the spectrum, for the streams
  std::int64_t Packets;  ///< of the whole run, whose weights add up to the entry's energy
  std::int64_t Share;    ///< of them, those of a batch
};

/** A packet of a batch: which entry launches it, and the how many-th of the entry's share it is. */
struct trelPlannedPacket
{
  std::size_t Entry;
  std::int64_t Number;
};

/** The packets of a larger run by their places in it, those of all sources together; none: all. */
struct trelPacketRange
{
  std::int64_t First = 0;
  std::int64_t Number = 0;
};

/**
 * @class   trelRunPlan
 * @brief   which packets a run has, in batches that are scaled-down runs
 *
 * Each batch has every entry in its proportion, and within a batch the packets of all entries are
 * interleaved in that proportion: wherever it is cut, each has launched what is its due, to within
 * a few packets. Numbers are 64 bits wide.
 */
class trelRunPlan
{
public:
  /** The entries with packets, in their order. @p packets are those of the run, all entries
   *  together, in the proportions of @p entries; 0 for as many as these have. Each number is
   *  rounded up to a multiple of @p batches, 1 or more. */
  void Build(const std::vector<trelRunEntry>& entries, std::int64_t packets, std::int64_t batches);
  /** From here on @p batches batches of the same size. */
  void SetBatches(std::int64_t batches);
  /** Packets of each entry in a batch, as other numbers, ahead of SetBatches(). False, and nothing
   *  done, if there are not as many, one is below 1, or all together are more than 2^53. */
  bool SetShares(const std::vector<double>& shares);
  std::vector<double> GetShares() const;
  /** The same entries, each with a share of @p packets. */
  void ShareAlike(std::int64_t packets);

  /** The same entries with these shares. */
  void SetShares(const std::vector<std::int64_t>& shares);

  const std::vector<trelRunEntry>& GetEntries() const { return Entries; }
  std::int64_t GetBatches() const { return Batches; }
  /** Of all entries: in a batch, and in the run. */
  std::int64_t GetPacketsOfBatch() const { return Sums.empty() ? 0 : Sums.back(); }
  std::int64_t GetPackets() const { return Batches * GetPacketsOfBatch(); }

  /** The packet at @p place, from 0, of a batch. */
  trelPlannedPacket Find(std::int64_t place) const;
  /** How many of the first @p places packets of a batch each entry has. */
  std::vector<std::int64_t> CountAhead(std::int64_t places) const;
  /** The same of the run: with packets in batches. */
  std::vector<std::int64_t> CountLaunched(std::int64_t places) const;

private:
  void SumShares();
  std::int64_t CountLower(std::int64_t place, std::size_t first, std::size_t last) const;
  void CountAhead(std::int64_t places, std::size_t first, std::size_t last,
                  std::vector<std::int64_t>& counts) const;

  std::vector<trelRunEntry> Entries;
  std::vector<std::int64_t> Sums;  ///< of the shares before each entry, and of all
  std::int64_t Batches = 1;
};

#endif
