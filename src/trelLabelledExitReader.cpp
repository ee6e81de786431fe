#include "trelLabelledExitReader.h"

#include <netcdf.h>

#include <algorithm>
#include <filesystem>

#include "trelNetcdfFile.h"
#include "trelOpticalParameter.h"
#include "trelResultLabels.h"
#include "trelRunRecord.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"
#include "trelTrialProcess.h"

/** Rows that are read at a time; no run has as many sources and spectra. */
static constexpr std::size_t blockRows = 1 << 14;
static constexpr std::size_t mostEntries = 1 << 20;
/** No text of a model is as long. */
static constexpr std::size_t longestText = std::size_t{1} << 30;

trelLabelledExitReader::~trelLabelledExitReader()
{
  if (Id >= 0) nc_close(Id);
}

bool trelLabelledExitReader::Fail(const std::string& what)
{
  if (Fault.empty()) Fault = what;
  return false;
}

bool trelLabelledExitReader::Check(int status)
{
  if (status != NC_NOERR) Fail(nc_strerror(status));
  return Fault.empty();
}

/** Everything that is read of a file, for a trial. */
void trelLabelledExitReader::ReadAll(const std::string& name)
{
  if (!OpenFile(name)) return;
  for (const char* attribute : {"rules", "model_sha256", "mesh_sha256"})
    GetText(attribute);
  double value = 0.0;
  for (const char* coefficient : {"mua", "mus", "g", "n"})
    GetCoefficient(coefficient, {0, 0}, &value);
  std::vector<trelListedExit> exits;
  while (ReadNext(&exits)) {
  }
}

bool trelLabelledExitReader::Open(const std::string& name)
{
  std::error_code error;
  if (!std::filesystem::is_regular_file(name, error)) return Fail("there is no such file");
  PrepareNetcdf(name);
  const bool isSound = ComesToItsEnd([&] {
    trelLabelledExitReader trial;
    trial.ReadAll(name);
  });
  return isSound ? OpenFile(name) : Fail("it cannot be read: it is damaged");
}

bool trelLabelledExitReader::OpenFile(const std::string& name)
{
  if (nc_open(name.c_str(), NC_NOWRITE, &Id) != NC_NOERR) {
    Id = -1;
    return Fail("it cannot be read, or is no whole result file");
  }
  unsigned long long seed = 0;
  int rows = 0;
  if (nc_inq_varid(Id, "exit_entry_packets", &rows) != NC_NOERR ||
      nc_get_att_ulonglong(Id, NC_GLOBAL, "seed", &seed) != NC_NOERR)
    return Fail("it has no table of exits");
  Seed = seed;
  Rows = GetLength("exit");
  return ReadEntries();
}

/** 0 for a dimension that is not there. */
std::size_t trelLabelledExitReader::GetLength(const char* dimension)
{
  int id = 0;
  std::size_t length = 0;
  if (nc_inq_dimid(Id, dimension, &id) != NC_NOERR) return 0;
  Check(nc_inq_dimlen(Id, id, &length));
  return length;
}

/** Empty for an attribute that is not there. */
std::string trelLabelledExitReader::GetText(const char* attribute)
{
  nc_type type = NC_NAT;
  std::size_t length = 0;
  if (nc_inq_att(Id, NC_GLOBAL, attribute, &type, &length) != NC_NOERR || type != NC_CHAR ||
      length > longestText)
    return "";
  std::string text(length, '\0');
  Check(nc_get_att_text(Id, NC_GLOBAL, attribute, text.data()));
  return text;
}

static int GetBlock(int file, int id, const std::size_t* start, const std::size_t* count,
                    double* values)
{
  return nc_get_vara_double(file, id, start, count, values);
}
static int GetBlock(int file, int id, const std::size_t* start, const std::size_t* count,
                    long long* values)
{
  return nc_get_vara_longlong(file, id, start, count, values);
}

/** @p count numbers of a variable of one dimension, or, with @p first 0, of two; all 0 after a
 *  fault. */
template <class Number>
std::vector<Number> trelLabelledExitReader::ReadColumn(const std::string& variable,
                                                       std::size_t first, std::size_t count)
{
  std::vector<Number> values(count);
  int id = 0, axes = 0, axis = 0;
  std::size_t length = 0;
  if (nc_inq_varid(Id, variable.c_str(), &id) != NC_NOERR ||
      nc_inq_varndims(Id, id, &axes) != NC_NOERR || axes != 1 ||
      nc_inq_vardimid(Id, id, &axis) != NC_NOERR || nc_inq_dimlen(Id, axis, &length) != NC_NOERR ||
      length < first + count) {
    Fail("its variable " + variable + " is missing, or of another shape");
    return values;
  }
  if (!Check(GetBlock(Id, id, &first, &count, values.data())))
    std::fill(values.begin(), values.end(), Number{});
  return values;
}

bool trelLabelledExitReader::ReadEntries()
{
  const std::size_t count = GetLength("exit_entry");
  if (count == 0 || count > mostEntries) return Fail("it has no table of exits");
  const auto column = [&](const char* name) {
    return ReadColumn<long long>(std::string("exit_entry_") + name, 0, count);
  };
  const auto sources = column("source"), spectra = column("spectrum"), shares = column("share"),
             packets = column("packets");
  for (std::size_t i = 0; i < count; ++i)
    Entries.push_back({sources[i], spectra[i], 0, shares[i], packets[i]});
  return Fault.empty();
}

/** The coefficients of a tissue at a wavelength; null if it has none. */
static const trelOpticalParameter* FindOptics(const trelTissue& tissue, long long wavelength)
{
  const trelOpticalParameter* optics = nullptr;
  for (int k = 0; (optics = tissue.GetOpticalParameter(k)); ++k)
    if (static_cast<long long>(optics->GetWavelength()) == wavelength) break;
  return optics;
}

bool trelLabelledExitReader::GetCoefficient(const char* name, const trelPlace& place, double* value)
{
  int id = 0, axes = 0;
  return nc_inq_varid(Id, name, &id) == NC_NOERR && nc_inq_varndims(Id, id, &axes) == NC_NOERR &&
         axes == 2 && nc_get_var1_double(Id, id, place.data(), value) == NC_NOERR;
}

/** Whether the coefficients of the file are those of @p parameter; else one that is not. */
bool trelLabelledExitReader::HasCoefficients(const trelSimulationParameter& parameter,
                                             const char** different)
{
  static constexpr struct
  {
    const char* Name;
    double (trelOpticalParameter::*Get)() const;
  } coefficients[] = {{"mua", &trelOpticalParameter::GetAbsorption},
                      {"mus", &trelOpticalParameter::GetScattering},
                      {"g", &trelOpticalParameter::GetAnisotropy},
                      {"n", &trelOpticalParameter::GetRefractiveIndex}};
  const auto tissues = static_cast<std::size_t>(parameter.GetNumberOfTissues());
  const auto spectra = static_cast<std::size_t>(parameter.GetNumberOfWavelengths());
  if (GetLength("tissue") != tissues || GetLength("wavelength") != spectra)
    return Fail("its numbers of tissues and wavelengths are others");
  const auto wavelengths = ReadColumn<long long>("wavelength", 0, spectra);
  for (const auto& [name, get] : coefficients) {
    *different = name;
    for (std::size_t i = 0; i < spectra * tissues; ++i) {
      const trelPlace place = {i / tissues, i % tissues};
      double value = 0.0;
      if (!GetCoefficient(name, place, &value)) return Fail("it lacks coefficients");
      const trelTissue& tissue = *parameter.GetTissue(static_cast<int>(place[1]));
      const trelOpticalParameter* optics = FindOptics(tissue, wavelengths[place[0]]);
      if (optics && (optics->*get)() != value) return false;
    }
  }
  return true;
}

std::string trelLabelledExitReader::FindDifference(const trelRunRecord& record,
                                                   const trelSimulationParameter& parameter)
{
  if (GetText("rules") != GetRulesName(parameter.GetRules())) return "rules";
  for (const char* name : {"model_sha256", "mesh_sha256"}) {
    if (GetText(name) != record.GetText(name)) return name;
  }
  const char* different = "";
  return HasCoefficients(parameter, &different) ? "" : different;
}

bool trelLabelledExitReader::ReadNext(std::vector<trelListedExit>* exits)
{
  exits->clear();
  const std::size_t count = std::min(blockRows, Rows - Read);
  if (count == 0 || !Fault.empty()) return false;
  const auto column = [&](const char* name) {
    return ReadColumn<long long>(std::string("exit_") + name, Read, count);
  };
  const auto sources = column("source"), spectra = column("spectrum"), packets = column("packet"),
             conversions = column("conversion"), detectors = column("detector");
  const auto weights = ReadColumn<double>("exit_weight", Read, count);
  for (std::size_t i = 0; i < count; ++i)
    exits->push_back(
        {sources[i], spectra[i], packets[i], conversions[i], detectors[i], weights[i]});
  Read += count;
  return Fault.empty();
}
