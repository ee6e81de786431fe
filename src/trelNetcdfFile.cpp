#include "trelNetcdfFile.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <netcdf.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <string_view>

trelNetcdfFile::~trelNetcdfFile()
{
  if (Id >= 0) nc_close(Id);
}

void trelNetcdfFile::Fail(const std::string& what)
{
  if (Fault.empty()) Fault = "Could not write " + Name + ": " + what;
}

/** The library below tells most failures of the system as one of its own; errno knows better. */
static std::string FindReason(int status)
{
  for (const int reason : {ENOSPC, EDQUOT, EFBIG, EROFS, EACCES, EPERM, EIO}) {
    if (errno == reason) return std::strerror(reason);
  }
  return nc_strerror(status);
}

bool trelNetcdfFile::Check(int status, const std::string& what)
{
  if (status != NC_NOERR) Fail(what + ": " + FindReason(status));
  return Fault.empty();
}

/** Whether nothing has failed, ahead of a call of the library below. */
bool trelNetcdfFile::IsSound() const
{
  errno = 0;
  return Fault.empty();
}

/** Whether the file system can lock the file, which the library below wants to. */
static bool CanLock(const std::string& path)
{
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return true;
  const bool isLocked = flock(file, LOCK_SH | LOCK_NB) == 0;
  close(file);
  return isLocked;
}

/** The library below the library crashes when the process ends, in the cleaning up that it has
 *  registered, if a file could not be closed, as on a full disk. It is told not to register it: all
 *  files that can be closed are. */
static void SpareCleaningUp()
{
  using trelRefusal = int (*)();
  static const auto refuse = reinterpret_cast<trelRefusal>(dlsym(RTLD_DEFAULT, "H5dont_atexit"));
  [[maybe_unused]] static const bool isTold = refuse && refuse() >= 0;
}

/**
 * Network file systems may have no locks; a file that is written has a name that nobody else knows,
 * and one that is read is replaced as a whole: neither needs any. The library below the library
 * reads the setting when it opens its first file of all, so that locks are tried ahead of it.
 */
/** Of a piece of a variable that is compressed. */
static constexpr std::size_t mostNumbers = (1 << 20) / sizeof(double);

void PrepareNetcdf(const std::string& path)
{
  SpareCleaningUp();
  if (!CanLock(path)) setenv("HDF5_USE_FILE_LOCKING", "FALSE", 1);
  // Numbers are written and read one after the other: more of each variable would only fill memory.
  nc_set_chunk_cache(2 * mostNumbers * sizeof(double), 11, 1.0F);
}

bool trelNetcdfFile::Open(const std::string& path)
{
  PrepareNetcdf(path);
  errno = 0;
  const int status = nc_create(path.c_str(), NC_NETCDF4 | NC_CLOBBER, &Id);
  if (status != NC_NOERR) Id = -1;
  return Check(status, "it could not be created");
}

bool trelNetcdfFile::Create(const std::string& name)
{
  Name = name;
  const std::string fault = Files.Stage(name, &Path);
  if (!fault.empty()) Fail(fault);
  return Fault.empty() && Open(Path);
}

std::string trelNetcdfFile::FindFault(const std::string& name)
{
  trelResultFileSet files;
  std::string path;
  return files.Stage(name, &path);
}

/** Brings what was written to @p path, a file or a folder, to the disk. */
static bool Sync(const std::string& path)
{
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool isSynced = fsync(file) == 0 || errno == EINVAL || errno == ENOSYS;
  close(file);
  return isSynced;
}

bool trelNetcdfFile::Commit()
{
  if (Id >= 0) {
    errno = 0;
    const int status = nc_close(Id);
    Id = -1;
    Check(status, "it could not be written to its end");
  }
  if (Fault.empty() && !Sync(Path)) Fail(std::strerror(errno));
  std::string failed;
  if (Fault.empty() && !Files.Commit(failed)) Fail("it could not be put in its place");
  if (!Fault.empty()) return false;
  const std::string folder = std::filesystem::path(Path).parent_path().string();
  Sync(folder.empty() ? "." : folder);
  return true;
}

bool trelNetcdfFile::AddDimension(const std::string& name, std::size_t length)
{
  int id = 0;
  if (length == 0 || !IsSound()) return false;
  if (nc_inq_dimid(Id, name.c_str(), &id) == NC_NOERR) return true;
  return Check(nc_def_dim(Id, name.c_str(), length, &id), "dimension " + name);
}

bool trelNetcdfFile::AddAxis(const trelNetcdfVariable& axis, const std::vector<double>& borders)
{
  int id = 0;
  if (borders.size() < 2 || !IsSound()) return false;
  if (nc_inq_dimid(Id, axis.Name.c_str(), &id) == NC_NOERR) return true;
  std::vector<double> middles, bounds;
  for (std::size_t k = 1; k < borders.size(); ++k) {
    middles.push_back(0.5 * (borders[k - 1] + borders[k]));
    bounds.insert(bounds.end(), {borders[k - 1], borders[k]});
  }
  const std::string name = axis.Name + "_bounds";
  AddDimension(axis.Name, middles.size());
  AddDimension("bounds", 2);
  AddVariable({axis.Name, axis.LongName, axis.Units, {axis.Name}});
  AddVariable({name, "borders of the cells: " + axis.LongName, axis.Units, {axis.Name, "bounds"}});
  SetText(axis.Name, "bounds", name);
  PutAll(axis.Name, middles.data());
  PutAll(name, bounds.data());
  return Fault.empty();
}

/** In pieces of at most a megabyte, whole along the fastest dimensions. Few numbers stay as they
 *  are: the tables of pieces would be larger than they. */
void trelNetcdfFile::Compress(int variable, const std::vector<std::size_t>& lengths,
                              bool hasChecksum)
{
  constexpr std::size_t fewNumbers = 512;
  const std::size_t all = std::accumulate(lengths.begin(), lengths.end(), std::size_t{1},
                                          [](std::size_t a, std::size_t b) { return a * b; });
  const bool isCompressed = all > fewNumbers && !IsHasty;
  if (!isCompressed && !hasChecksum) return;
  constexpr int leastEffort = 1;  // more makes noisy numbers hardly smaller
  std::vector<std::size_t> chunks = lengths;
  std::size_t numbers = 1;
  for (std::size_t k = lengths.size(); k-- > 0;) {
    chunks[k] = std::clamp<std::size_t>(mostNumbers / numbers, 1, lengths[k]);
    numbers *= chunks[k];
  }
  Check(nc_def_var_chunking(Id, variable, NC_CHUNKED, chunks.data()), "chunks");
  if (hasChecksum) Check(nc_def_var_fletcher32(Id, variable, NC_FLETCHER32), "checksum");
  if (isCompressed) Check(nc_def_var_deflate(Id, variable, 1, 1, leastEffort), "compression");
}

void trelNetcdfFile::AddVariable(const trelNetcdfVariable& variable)
{
  static constexpr nc_type types[] = {NC_DOUBLE, NC_INT, NC_INT64, NC_STRING};
  if (!IsSound()) return;
  std::vector<int> dimensions;
  std::vector<std::size_t> lengths;
  for (const std::string& name : variable.Dimensions) {
    dimensions.push_back(0);
    lengths.push_back(0);
    Check(nc_inq_dimid(Id, name.c_str(), &dimensions.back()), "dimension " + name);
    Check(nc_inq_dimlen(Id, dimensions.back(), &lengths.back()), "dimension " + name);
  }
  int id = 0;
  const int status = nc_def_var(Id, variable.Name.c_str(), types[variable.Type],
                                static_cast<int>(dimensions.size()), dimensions.data(), &id);
  if (!Check(status, variable.Name)) return;
  if (variable.Type != NetcdfText) {
    Compress(id, lengths, variable.HasChecksum);
    Check(nc_def_var_fill(Id, id, NC_NOFILL, nullptr), variable.Name);
  }
  if (!variable.LongName.empty()) SetText(variable.Name, "long_name", variable.LongName);
  if (!variable.Units.empty()) SetText(variable.Name, "units", variable.Units);
}

/** The number of a variable, or of the file for ""; after a failure of no meaning. */
int trelNetcdfFile::FindVariable(const std::string& name)
{
  int id = NC_GLOBAL;
  if (!name.empty()) Check(nc_inq_varid(Id, name.c_str(), &id), "variable " + name);
  return id;
}

void trelNetcdfFile::SetText(const std::string& variable, const char* name, const std::string& text)
{
  if (!IsSound()) return;
  const int id = FindVariable(variable);
  Check(nc_put_att_text(Id, id, name, text.size(), text.data()), name);
}

void trelNetcdfFile::SetReal(const std::string& variable, const char* name, double value)
{
  if (!IsSound()) return;
  const int id = FindVariable(variable);
  Check(nc_put_att_double(Id, id, name, NC_DOUBLE, 1, &value), name);
}

void trelNetcdfFile::SetCount(const std::string& variable, const char* name, std::uint64_t value)
{
  if (!IsSound()) return;
  const int id = FindVariable(variable);
  const unsigned long long count = value;
  Check(nc_put_att_ulonglong(Id, id, name, NC_UINT64, 1, &count), name);
}

void trelNetcdfFile::Put(const std::string& variable, const std::vector<std::size_t>& start,
                         const std::vector<std::size_t>& count, const double* values)
{
  if (!IsSound()) return;
  const int id = FindVariable(variable);
  Check(nc_put_vara_double(Id, id, start.data(), count.data(), values), variable);
}

void trelNetcdfFile::PutAll(const std::string& variable, const double* values)
{
  if (!IsSound()) return;
  Check(nc_put_var_double(Id, FindVariable(variable), values), variable);
}

void trelNetcdfFile::PutAll(const std::string& variable, const std::int32_t* values)
{
  if (!IsSound()) return;
  Check(nc_put_var_int(Id, FindVariable(variable), values), variable);
}

void trelNetcdfFile::PutAll(const std::string& variable, const std::int64_t* values)
{
  if (!IsSound()) return;
  Check(nc_put_var(Id, FindVariable(variable), values), variable);
}

/** The bytes of a character of UTF-8 by its first one; 0 for a byte that is none. */
static std::size_t CountBytes(unsigned lead)
{
  if (lead < 0x80) return 1;
  if (lead < 0xC0 || lead >= 0xF8) return 0;
  if (lead < 0xE0) return 2;
  return lead < 0xF0 ? 3 : 4;
}

/** The bytes of the character at the start of @p text; 0 if there is none. */
static std::size_t CountBytesOfCharacter(std::string_view text)
{
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t bytes = CountBytes(byteAt(0));
  if (bytes < 2 || bytes > text.size()) return bytes == 1 ? 1 : 0;
  std::uint32_t code = byteAt(0) & (0x7Fu >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byteAt(i) & 0x3F);
  }
  static constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = (code >> 11) == 0x1B;
  return code >= least[bytes] && code <= 0x10FFFF && !isSurrogate ? bytes : 0;
}

/** Strings are UTF-8, and readers refuse others: what is none becomes '?'. */
static std::string MakeUtf8(std::string text)
{
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t bytes = CountBytesOfCharacter(std::string_view(text).substr(i));
    if (bytes == 0) text[i] = '?';
    i += std::max<std::size_t>(bytes, 1);
  }
  return text;
}

void trelNetcdfFile::PutAll(const std::string& variable, const std::vector<std::string>& values)
{
  if (!IsSound()) return;
  std::vector<std::string> kept;
  std::transform(values.begin(), values.end(), std::back_inserter(kept), MakeUtf8);
  std::vector<const char*> texts;
  texts.reserve(kept.size());
  for (const std::string& value : kept)
    texts.push_back(value.c_str());
  Check(nc_put_var_string(Id, FindVariable(variable), texts.data()), variable);
}
