#include "trelNetcdfInput.h"

#include <netcdf.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "trelNetcdfFile.h"
#include "trelPaths.h"
#include "trelTrialProcess.h"

trelNetcdfInput::~trelNetcdfInput()
{
  if (Id >= 0) nc_close(Id);
}

std::string trelNetcdfInput::Open(const std::string& name)
{
  std::FILE* file = OpenRegularFile(NativePath(name), "rb");
  if (!file) return "it cannot be opened";
  std::fclose(file);
  PrepareNetcdf(name);
  const bool isSound = ComesToItsEnd([&] {
    trelNetcdfInput trial;
    if (nc_open(name.c_str(), NC_NOWRITE, &trial.Id) == NC_NOERR) trial.ReadAll();
  });
  if (!isSound) return "it is damaged";
  const int status = nc_open(name.c_str(), NC_NOWRITE, &Id);
  if (status == NC_NOERR) return "";
  Id = -1;
  return std::string("it is damaged, or of another program: ") + nc_strerror(status);
}

/** All numbers that there may be, for a trial. */
void trelNetcdfInput::ReadAll() const
{
  int variables = 0;
  nc_inq_nvars(Id, &variables);
  std::vector<double> numbers;
  for (int id = 0; id < variables; ++id) {
    char name[NC_MAX_NAME + 1] = "";
    nc_inq_varname(Id, id, name);
    const std::size_t length = GetLength(name);
    for (std::size_t first = 0; first < length; first += numbers.size()) {
      numbers.resize(std::min<std::size_t>(length - first, 1 << 20));
      Get(name, first, numbers.size(), numbers.data());
    }
  }
}

std::string trelNetcdfInput::GetText(const char* name) const
{
  nc_type type = NC_NAT;
  std::size_t length = 0;
  constexpr std::size_t longest = std::size_t{1} << 30;
  if (nc_inq_att(Id, NC_GLOBAL, name, &type, &length) != NC_NOERR) return "";
  if (type != NC_CHAR || length > longest) return "";
  std::string text(length, ' ');
  return nc_get_att_text(Id, NC_GLOBAL, name, text.data()) == NC_NOERR ? text : "";
}

bool trelNetcdfInput::GetCount(const char* name, std::uint64_t* value) const
{
  nc_type type = NC_NAT;
  std::size_t length = 0;
  if (nc_inq_att(Id, NC_GLOBAL, name, &type, &length) != NC_NOERR) return false;
  unsigned long long count = 0;
  if (type != NC_UINT64 || length != 1) return false;
  if (nc_get_att_ulonglong(Id, NC_GLOBAL, name, &count) != NC_NOERR) return false;
  *value = count;
  return true;
}

std::size_t trelNetcdfInput::GetLength(const std::string& variable) const
{
  int id = 0, dimensions = 0, dimension = 0;
  std::size_t length = 0;
  const bool isThere = nc_inq_varid(Id, variable.c_str(), &id) == NC_NOERR &&
                       nc_inq_varndims(Id, id, &dimensions) == NC_NOERR && dimensions == 1 &&
                       nc_inq_vardimid(Id, id, &dimension) == NC_NOERR &&
                       nc_inq_dimlen(Id, dimension, &length) == NC_NOERR;
  return isThere ? length : 0;
}

bool trelNetcdfInput::Get(const std::string& variable, std::size_t first, std::size_t number,
                          double* values) const
{
  int id = 0;
  return nc_inq_varid(Id, variable.c_str(), &id) == NC_NOERR &&
         nc_get_vara_double(Id, id, &first, &number, values) == NC_NOERR;
}
