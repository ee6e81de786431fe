#include "trelLabelledExits.h"

#include <algorithm>

#include "trelExitTable.h"
#include "trelNetcdfFile.h"

/** Numbers of a block of rows by tissue, at most. */
static constexpr std::size_t blockNumbers = 1 << 18;
static constexpr std::size_t mostRows = 1 << 14;

/** A column of the table: one number, or three along xyz. */
struct trelExitColumn
{
  trelNetcdfVariable Variable;
  void (*Take)(const trelExitTable& table, const trelExit& exit, std::vector<double>& values);
};

static void AddVector(const trelVector& v, std::vector<double>& values)
{
  values.insert(values.end(), {v.X, v.Y, v.Z});
}

static const trelExitEntry& EntryOf(const trelExitTable& table, const trelExit& exit)
{
  return table.Entries[static_cast<std::size_t>(exit.Entry)];
}

static std::vector<trelExitColumn> ListColumns()
{
  using Table = const trelExitTable&;
  using Exit = const trelExit&;
  using Values = std::vector<double>&;
  const auto real = [](const char* name, const char* words, const char* units) {
    return trelNetcdfVariable{name, words, units, {"exit"}};
  };
  const auto integer = [](const char* name, const char* words,
                          trelNetcdfType type = NetcdfInteger) {
    return trelNetcdfVariable{name, words, "1", {"exit"}, type};
  };
  return {
      {{"exit_position", "where the packet left the medium or met a fibre", "mm", {"exit", "xyz"}},
       [](Table, Exit exit, Values out) { AddVector(exit.Position, out); }},
      {{"exit_direction",
        "unit vector, outside of the medium after refraction, or as it met a fibre inside",
        "1",
        {"exit", "xyz"}},
       [](Table, Exit exit, Values out) { AddVector(exit.Direction, out); }},
      {real(
           "exit_weight",
           "weight of the packet, if the packet that was launched had all the energy of its source"
           " and spectrum: the sum over those of one, divided by exit_entry_packets, is its part of"
           " the result",
           "1"),
       [](Table, Exit exit, Values out) { out.push_back(exit.Weight); }},
      {real("exit_time", "time of flight", "ps"),
       [](Table, Exit exit, Values out) { out.push_back(exit.Time); }},
      {{"exit_wavelength", "wavelength", "nm", {"exit"}, NetcdfInteger},
       [](Table, Exit exit, Values out) { out.push_back(exit.Wavelength); }},
      {integer("exit_source", "number of the light source, from 1"),
       [](Table table, Exit exit, Values out) {
         out.push_back(static_cast<double>(EntryOf(table, exit).Source));
       }},
      {integer("exit_spectrum", "number of the spectrum in its source, from 1"),
       [](Table table, Exit exit, Values out) {
         out.push_back(static_cast<double>(EntryOf(table, exit).Spectrum));
       }},
      {integer("exit_packet", "number of the launched packet in its source and spectrum, from 0",
               NetcdfCount),
       [](Table, Exit exit, Values out) { out.push_back(static_cast<double>(exit.Packet)); }},
      {integer("exit_conversion",
               "number of the emission among those of the launched packet, from 1; 0 for itself",
               NetcdfCount),
       [](Table, Exit exit, Values out) { out.push_back(static_cast<double>(exit.Conversion)); }},
      {integer("exit_detector", "number of the fibre that collected it, 0 for none"),
       [](Table, Exit exit, Values out) { out.push_back(exit.Detector); }},
      {integer("exit_face",
               "face of the medium that it left through, from 1; 0 for a fibre inside"),
       [](Table, Exit exit, Values out) { out.push_back(exit.Face); }}};
}

/** A column by tissue. */
struct trelExitPathColumn
{
  const char *Name, *Words, *Units;
  double (*Get)(const trelTissuePath& path);
  trelNetcdfType Type;
};

static constexpr trelExitPathColumn pathColumns[] = {
    {"scatterings", "scatterings", "1",
     [](const trelTissuePath& path) { return static_cast<double>(path.Scatterings); }, NetcdfCount},
    {"path_length", "path length", "mm", [](const trelTissuePath& path) { return path.Length; },
     NetcdfReal},
    {"momentum_transfer", "sum of 1 - cos(scattering angle)", "1",
     [](const trelTissuePath& path) { return path.MomentumTransfer; }, NetcdfReal}};

static std::string GetPathName(const trelExitPathColumn& column, int leg)
{
  return std::string(leg == LegOfEmission ? "exit_emission_" : "exit_") + column.Name;
}

static void AddPathVariables(trelNetcdfFile& file, int legs)
{
  for (int leg = 0; leg < legs; ++leg) {
    const std::string where = legs == 1              ? " in each tissue"
                              : leg == LegOfEmission ? " in each tissue behind the conversion"
                                                     : " in each tissue ahead of a conversion";
    for (const trelExitPathColumn& column : pathColumns)
      file.AddVariable({GetPathName(column, leg),
                        column.Words + where,
                        column.Units,
                        {"exit", "tissue"},
                        column.Type});
  }
}

static void WriteEntries(trelNetcdfFile& file, const trelExitTable& table)
{
  if (!file.AddDimension("exit_entry", table.Entries.size())) return;
  const auto write = [&](const char* name, const char* words, const char* units, auto get) {
    std::vector<std::int64_t> values;
    std::transform(table.Entries.begin(), table.Entries.end(), std::back_inserter(values), get);
    file.AddVariable({name, words, units, {"exit_entry"}, NetcdfCount});
    file.PutAll(name, values.data());
  };
  write("exit_entry_source", "number of the light source, from 1", "1",
        [](const trelExitEntry& entry) { return entry.Source; });
  write("exit_entry_spectrum", "number of the spectrum in its source, from 1", "1",
        [](const trelExitEntry& entry) { return entry.Spectrum; });
  write("exit_entry_wavelength", "wavelength", "nm",
        [](const trelExitEntry& entry) { return std::int64_t{entry.Wavelength}; });
  write("exit_entry_share", "packets in a batch", "1",
        [](const trelExitEntry& entry) { return entry.Share; });
  write("exit_entry_packets", "packets launched whose exits are all in the table", "1",
        [](const trelExitEntry& entry) { return entry.Covered; });
}

/** Writes columns of some rows behind those that are there. */
class trelExitBlock
{
public:
  trelExitBlock(trelNetcdfFile& file, const trelExitTable& table, std::size_t tissues, int legs)
      : File(file), Table(table), Tissues(tissues), Legs(legs), Columns(ListColumns())
  {
  }

  void Write(const std::vector<trelExitRow>& rows, std::size_t count)
  {
    for (const trelExitColumn& column : Columns) {
      Values.clear();
      for (std::size_t i = 0; i < count; ++i)
        column.Take(Table, rows[i].Exit, Values);
      Put(column.Variable.Name, count, column.Variable.Dimensions.size() > 1);
    }
    for (int leg = 0; leg < Legs; ++leg) {
      for (const trelExitPathColumn& column : pathColumns) {
        Values.assign(count * Tissues, 0.0);
        for (std::size_t i = 0; i < count; ++i)
          for (const trelTissuePath& path : rows[i].Legs[leg])
            Values[i * Tissues + static_cast<std::size_t>(path.Tissue)] = column.Get(path);
        Put(GetPathName(column, leg), count, true);
      }
    }
    First += count;
  }

  void AddVariables()
  {
    for (const trelExitColumn& column : Columns)
      File.AddVariable(column.Variable);
    AddPathVariables(File, Legs);
  }

private:
  void Put(const std::string& name, std::size_t count, bool isWide)
  {
    if (isWide)
      File.Put(name, {First, 0}, {count, Values.size() / count}, Values.data());
    else
      File.Put(name, {First}, {count}, Values.data());
  }

  trelNetcdfFile& File;
  const trelExitTable& Table;
  std::size_t Tissues;
  int Legs;
  std::vector<trelExitColumn> Columns;
  std::vector<double> Values;
  std::size_t First = 0;
};

void WriteExits(trelNetcdfFile& file, trelExitTable& table, std::size_t tissues, bool hasEmission)
{
  WriteEntries(file, table);
  const auto all = static_cast<std::size_t>(table.GetNumberOfRows());
  if (all > 0) {
    file.AddDimension("exit", all);
    file.AddDimension("xyz", 3);
    trelExitBlock block(file, table, tissues, hasEmission ? NumberOfPathLegs : 1);
    block.AddVariables();
    table.Rewind();
    std::vector<trelExitRow> rows(std::clamp<std::size_t>(blockNumbers / tissues, 1, mostRows));
    std::size_t count = 0;
    while (file.GetFault().empty() && table.ReadNext(&rows[count])) {
      if (++count < rows.size()) continue;
      block.Write(rows, count);
      count = 0;
    }
    if (count > 0) block.Write(rows, count);
  }
  if (!table.GetFault().empty()) file.Fail(table.GetFault());
}
