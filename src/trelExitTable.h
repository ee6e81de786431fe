#ifndef trelExitTable_h
#define trelExitTable_h

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "trelVector.h"

/** What a part of a packet's path did in one tissue. */
struct trelTissuePath
{
  std::int32_t Tissue;        ///< from 0
  std::uint32_t Scatterings;  ///< changes of direction; a conversion is none
  double Length;              ///< mm
  double MomentumTransfer;    ///< sum of 1 - cos(scattering angle)
};

/** The two parts of a path: up to the conversion, or to the exit without one, and from there. */
enum trelPathLeg
{
  LegOfExcitation,
  LegOfEmission,
  NumberOfPathLegs
};

/** A packet that left the medium or was collected, but for its way. */
struct trelExit
{
  std::int64_t Place;       ///< how many packets the run launched ahead of its own
  std::int64_t Packet;      ///< number in its entry, from 0
  std::int64_t Conversion;  ///< of those of the launched packet, from 1; 0 for itself
  std::int32_t Entry;       ///< of trelExitTable, from 0
  std::int32_t Wavelength;
  std::int32_t Detector;  ///< see trelExitPlace
  std::int32_t Face;
  /** Weight of the exit if its launched packet had all the energy of the entry. */
  double Weight;
  double Time;  ///< ps
  trelVector Position;
  trelVector Direction;  ///< as it goes on outside, or into the fibre
};

struct trelExitRow
{
  trelExit Exit;
  std::array<std::vector<trelTissuePath>, NumberOfPathLegs> Legs;
};

/** A spectrum of a source: its packets, and those whose exits a table has. */
struct trelExitEntry
{
  std::int64_t Source;    ///< from 1
  std::int64_t Spectrum;  ///< of the source, from 1
  std::int32_t Wavelength;
  std::int64_t Share;    ///< packets in a batch
  std::int64_t Covered;  ///< packets launched; weights are normalised by them
  /** The number of the first of them, and the one behind the last. */
  std::int64_t First = 0, End = 0;
};

/**
 * @class   trelExitTable
 * @brief   the exits of the packets that a run launches first, in their order
 *
 * Each thread appends the exits of its packets, whose places grow, to a file of its own without a
 * name; behind the packets the files are merged while they are read. Memory does not grow with the
 * number of exits. Packets are kept whole: those that come first until there are as many exits as
 * asked for. What was read may be added to, and read again.
 */
class trelExitTable
{
public:
  /** The columns of a table by tissue are of this many at most. */
  static constexpr std::int32_t MostTissues = 4096;

  /** With an entry for each of the run's. @p folder is where the files lie; @p limit is how many
   *  exits are asked for. False, with a fault, if it cannot be. */
  bool Open(const std::filesystem::path& folder, int threads, std::int64_t limit);
  /** Ahead of the run: takes rows from elsewhere. The number to append them with, as that of a
   *  thread is; -1, with a fault, if it cannot be. */
  int AddPart();
  /** Adds the exits of a launched packet, whose place is above those before of its @p thread. */
  void Append(int thread, const trelExitRow* rows, std::size_t count);
  /** Whether packets that are taken from now on are not needed: asked for ahead of taking them. */
  bool IsFull() const { return HasFault() || Exits.load(std::memory_order_acquire) >= Limit; }
  /** Chooses the rows that are read: packets from place @p end on are left out. The place behind
   *  the last packet covered. */
  std::int64_t Conclude(std::int64_t end);

  /** Of the rows, from the first on. */
  bool Rewind();
  bool ReadNext(trelExitRow* row);
  std::int64_t GetNumberOfRows() const { return Rows; }

  std::vector<trelExitEntry> Entries;
  bool HasFault() const { return HasFailed.load(std::memory_order_relaxed); }
  /** What went wrong, or empty. */
  std::string GetFault() const;

private:
  struct Closer
  {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  /** The file of a thread, on cache lines of its own. */
  struct alignas(64) Part
  {
    std::unique_ptr<std::FILE, Closer> File;
    trelExitRow Row;  ///< the next one while it is read
    bool HasRow = false;
    bool IsRead = false;  ///< and not where it is appended to
    int Error = 0;        ///< of the system, when it failed
  };

  void OpenPart(Part& part);
  bool Write(Part& part, const trelExitRow& row);
  void Read(Part& part);
  void Fail(Part& part);
  Part* FindFirst();

  std::filesystem::path Folder;
  std::vector<Part> Parts;
  std::int64_t Limit = 0;
  std::atomic<std::int64_t> Exits{0};
  std::atomic<bool> HasFailed{false};
  std::int64_t Rows = 0;  ///< after Conclude()
  std::int64_t Left = 0;  ///< to be read
};

#endif
