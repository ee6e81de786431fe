#include "trelExitTable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "trelTemporaryFiles.h"

/** Of each file, in bytes. */
static constexpr std::size_t bufferSize = 1 << 16;

bool trelExitTable::Open(const std::filesystem::path& folder, int threads, std::int64_t limit)
{
  Folder = folder;
  Parts = std::vector<Part>(static_cast<std::size_t>(threads));
  Limit = limit;
  Exits = 0;
  HasFailed = false;
  Rows = Left = 0;
  for (Part& part : Parts)
    OpenPart(part);
  return !HasFailed;
}

void trelExitTable::OpenPart(Part& part)
{
  part.File.reset(OpenScratchFile(Folder));
  if (part.File)
    std::setvbuf(part.File.get(), nullptr, _IOFBF, bufferSize);
  else
    Fail(part);
}

int trelExitTable::AddPart()
{
  OpenPart(Parts.emplace_back());
  return HasFailed ? -1 : static_cast<int>(Parts.size()) - 1;
}

void trelExitTable::Fail(Part& part)
{
  part.Error = errno == 0 ? EIO : errno;
  HasFailed = true;
}

std::string trelExitTable::GetFault() const
{
  for (const Part& part : Parts) {
    if (part.Error != 0)
      return std::string("the exits could not be kept: ") + std::strerror(part.Error);
  }
  return "";
}

bool trelExitTable::Write(Part& part, const trelExitRow& row)
{
  std::FILE* const file = part.File.get();
  bool isWritten = std::fwrite(&row.Exit, sizeof row.Exit, 1, file) == 1;
  for (const std::vector<trelTissuePath>& leg : row.Legs) {
    const std::size_t paths = leg.size();
    isWritten = isWritten && std::fwrite(&paths, sizeof paths, 1, file) == 1;
    if (paths > 0)
      isWritten = isWritten && std::fwrite(leg.data(), sizeof leg[0], paths, file) == paths;
  }
  return isWritten;
}

void trelExitTable::Append(int thread, const trelExitRow* rows, std::size_t count)
{
  Part& part = Parts[static_cast<std::size_t>(thread)];
  errno = 0;
  if (part.IsRead && part.Error == 0 && std::fseek(part.File.get(), 0, SEEK_END) != 0) Fail(part);
  part.IsRead = false;
  for (std::size_t i = 0; i < count && part.Error == 0; ++i)
    if (!Write(part, rows[i])) Fail(part);
  Exits.fetch_add(static_cast<std::int64_t>(count), std::memory_order_release);
}

void trelExitTable::Read(Part& part)
{
  std::FILE* const file = part.File.get();
  trelExitRow& row = part.Row;
  part.HasRow = std::fread(&row.Exit, sizeof row.Exit, 1, file) == 1;
  for (std::vector<trelTissuePath>& leg : row.Legs) {
    std::size_t paths = 0;
    part.HasRow = part.HasRow && std::fread(&paths, sizeof paths, 1, file) == 1;
    if (!part.HasRow) break;
    leg.resize(paths);
    if (paths > 0) part.HasRow = std::fread(leg.data(), sizeof leg[0], paths, file) == paths;
  }
  if (!part.HasRow && std::ferror(file)) Fail(part);
}

bool trelExitTable::Rewind()
{
  errno = 0;
  for (Part& part : Parts) {
    if (part.Error != 0) continue;
    part.IsRead = true;
    if (std::fflush(part.File.get()) != 0 || std::fseek(part.File.get(), 0, SEEK_SET) != 0)
      Fail(part);
    else
      Read(part);
  }
  Left = Rows;
  return !HasFailed;
}

/** The file whose next row comes first; null behind the last. */
trelExitTable::Part* trelExitTable::FindFirst()
{
  Part* first = nullptr;
  for (Part& part : Parts) {
    if (part.HasRow && (!first || part.Row.Exit.Place < first->Row.Exit.Place)) first = &part;
  }
  return first;
}

bool trelExitTable::ReadNext(trelExitRow* row)
{
  Part* const first = Left > 0 ? FindFirst() : nullptr;
  if (!first) return false;
  std::swap(*row, first->Row);
  Read(*first);
  --Left;
  return true;
}

std::int64_t trelExitTable::Conclude(std::int64_t end)
{
  Rows = 0;
  if (!Rewind()) return 0;
  std::int64_t covered = 0;
  for (Part* part = FindFirst(); part && part->Row.Exit.Place < end; part = FindFirst()) {
    if (Rows >= Limit && part->Row.Exit.Place >= covered) return covered;
    covered = part->Row.Exit.Place + 1;
    ++Rows;
    Read(*part);
  }
  return Rows >= Limit ? covered : end;
}
