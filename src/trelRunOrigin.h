#ifndef trelRunOrigin_h
#define trelRunOrigin_h

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "trelNetcdfInput.h"
#include "trelRunStateReader.h"

class trelRunRecord;

/** Packets of a run by its seed and their places in it, those of all sources together. */
struct trelFlownRange
{
  std::uint64_t Seed = 0;
  std::uint64_t First = 0;
  std::uint64_t Number = 0;
};

/** As files have them: lines of "SEED FIRST:COUNT". */
std::string FormatRanges(const std::vector<trelFlownRange>& ranges);

/**
 * @class   trelRunOrigin
 * @brief   what a run goes on from, or the parts that it is put together from
 *
 * Faults are texts that name the file, or empty.
 */
class trelRunOrigin
{
public:
  /** Of a result and its checkpoint the one that is further. */
  std::string OpenContinued(const std::string& result, const std::string& checkpoint);
  /** Results of parts of a run, or of runs of different seeds with batches of the same size, in the
   *  order of their packets. */
  std::string OpenParts(const std::vector<std::string>& names);
  bool IsOpen() const { return !Files.empty(); }

  /** How the run of the files differs from that of @p record; empty if it does not. */
  std::string FindDifference(const trelRunRecord& record) const;
  /** A file by its number, from 0: its name, an attribute of it, and how many packets it has flown
   *  if a batch has @p batch of them. */
  std::size_t GetNumberOfFiles() const { return Files.size(); }
  const std::string& GetName(std::size_t i) const { return Files[i].Name; }
  std::string GetText(std::size_t i, const char* name) const
  {
    return Files[i].Input->GetText(name);
  }
  double CountPackets(std::size_t i, double batch) const
  {
    return Files[i].Batches * batch + Files[i].Packets;
  }
  /** An attribute of the first file. */
  std::string GetText(const char* name) const { return Files.front().Input->GetText(name); }
  const std::string& GetName() const { return Files.front().Name; }
  /** The first file with batches whose state lacks this part; empty if there is none. */
  std::string FindFileWithout(const char* part) const;
  /** Whether all files have the cells of every batch. */
  bool HasCells() const;
  /** All finished batches of all files. */
  std::int64_t GetBatches() const;
  /** The packets that were flown, in their order; those side by side are one. */
  const std::vector<trelFlownRange>& GetRanges() const { return Ranges; }
  /** Of all of it, if it has one seed. */
  std::uint64_t GetSeed() const { return Files.front().Seed; }
  bool HasOneSeed() const;
  trelRunStateReader* GetState() { return State.get(); }

private:
  struct File
  {
    std::string Name;
    std::unique_ptr<trelNetcdfInput> Input;
    std::uint64_t Seed = 0;
    double Batches = 0.0, Packets = 0.0;  ///< finished ones, and packets of the open one
    std::vector<trelFlownRange> Ranges;
    bool IsBehind(const File& other) const
    {
      return Batches < other.Batches || (Batches == other.Batches && Packets < other.Packets);
    }
  };
  static std::string Open(const std::string& name, File* file);
  static std::string OpenPart(const std::string& name, File* file);
  std::string FindOverlap() const;
  void JoinRanges();
  void MakeState();

  std::vector<File> Files;
  std::vector<trelFlownRange> Ranges;
  std::unique_ptr<trelRunStateReader> State;
};

#endif
