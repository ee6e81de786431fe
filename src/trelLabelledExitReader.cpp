#include "trelLabelledExitReader.h"

#include <netcdf.h>

#include <algorithm>
#include <filesystem>

#include "trelExitColumns.h"
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
void trelLabelledExitReader::ReadAll(const std::string& name, bool isWhole)
{
  if (!OpenFile(name)) return;
  for (const char* attribute : {"rules", "model_sha256", "mesh_sha256"})
    GetText(attribute);
  double value = 0.0;
  for (const char* coefficient : {"mua", "mus", "g", "n"})
    GetCoefficient(coefficient, {0, 0}, &value);
  std::vector<trelListedExit> exits;
  while (!isWhole && ReadNext(&exits)) {
  }
  if (GetLength("tissue") > trelExitTable::MostTissues) return;
  std::vector<trelExitRow> rows;
  while (isWhole && ReadNext(GetLength("tissue"), CountLegs(), &rows)) {
  }
}

bool trelLabelledExitReader::Open(const std::string& name, bool isWhole)
{
  std::error_code error;
  if (!std::filesystem::is_regular_file(name, error)) return Fail("there is no such file");
  PrepareNetcdf(name);
  const bool isSound = ComesToItsEnd([&] {
    trelLabelledExitReader trial;
    trial.ReadAll(name, isWhole);
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
  // What compresses better than the library can is no table.
  constexpr std::uintmax_t mostRowsOfByte = 129;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(name, error);
  if (!error && Rows / mostRowsOfByte > size) return Fail("its table of exits is damaged");
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

/** Whether a variable has rows of @p width numbers, without a second dimension if that is 0, and as
 *  many rows or more. */
bool trelLabelledExitReader::HasShape(const std::string& variable, std::size_t rows,
                                      std::size_t width, int* id)
{
  const int expected = width == 0 ? 1 : 2;
  int axes = 0, axis[2] = {};
  std::size_t length[2] = {0, width};
  if (nc_inq_varid(Id, variable.c_str(), id) != NC_NOERR ||
      nc_inq_varndims(Id, *id, &axes) != NC_NOERR || axes != expected ||
      nc_inq_vardimid(Id, *id, axis) != NC_NOERR)
    return false;
  for (int i = 0; i < axes; ++i)
    if (nc_inq_dimlen(Id, axis[i], &length[i]) != NC_NOERR) return false;
  return length[0] >= rows && length[1] == width;
}

/** @p count rows of a variable; all 0 after a fault. */
template <class Number>
std::vector<Number> trelLabelledExitReader::ReadColumn(const std::string& variable,
                                                       std::size_t first, std::size_t count,
                                                       std::size_t width)
{
  std::vector<Number> values(count * std::max<std::size_t>(width, 1));
  int id = 0;
  if (!HasShape(variable, first + count, width, &id)) {
    Fail("its variable " + variable + " is missing, or of another shape");
    return values;
  }
  const std::size_t start[2] = {first, 0}, counts[2] = {count, width};
  if (!Check(GetBlock(Id, id, start, counts, values.data())))
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
             packets = column("packets"), first = column("first"), end = column("end");
  for (std::size_t i = 0; i < count; ++i)
    Entries.push_back({sources[i], spectra[i], 0, shares[i], packets[i], first[i], end[i]});
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

int trelLabelledExitReader::CountLegs()
{
  int id = 0;
  const std::string name = GetPathName(ListExitPathColumns().front(), LegOfEmission);
  return nc_inq_varid(Id, name.c_str(), &id) == NC_NOERR ? NumberOfPathLegs : 1;
}

bool trelLabelledExitReader::ReadNext(std::size_t tissues, int legs, std::vector<trelExitRow>* rows)
{
  const std::size_t count = std::min(CountExitsOfBlock(tissues), Rows - Read);
  rows->assign(count, {});
  if (count == 0 || !Fault.empty()) return false;
  for (const trelExitColumn& column : ListExitColumns()) {
    const std::size_t width = column.Variable.Dimensions.size() > 1 ? 3 : 0;
    const auto values = ReadColumn<double>(column.Variable.Name, Read, count, width);
    for (std::size_t i = 0; i < count; ++i)
      column.Set(Entries, &values[i * std::max<std::size_t>(width, 1)], (*rows)[i].Exit);
  }
  for (int leg = 0; leg < legs; ++leg)
    ReadPaths(leg, tissues, rows);
  Read += count;
  return Fault.empty();
}

/** What the ways of rows did in the tissues that they have been in. */
void trelLabelledExitReader::ReadPaths(int leg, std::size_t tissues, std::vector<trelExitRow>* rows)
{
  std::vector<std::vector<double>> values;
  for (const trelExitPathColumn& column : ListExitPathColumns())
    values.push_back(ReadColumn<double>(GetPathName(column, leg), Read, rows->size(), tissues));
  for (std::size_t place = 0; place < rows->size() * tissues; ++place) {
    const bool isClear = std::all_of(values.begin(), values.end(),
                                     [&](const auto& column) { return column[place] == 0.0; });
    if (isClear) continue;
    trelTissuePath path{static_cast<std::int32_t>(place % tissues), 0, 0.0, 0.0};
    for (std::size_t i = 0; i < values.size(); ++i)
      ListExitPathColumns()[i].Set(values[i][place], path);
    (*rows)[place / tissues].Legs[static_cast<std::size_t>(leg)].push_back(path);
  }
}
