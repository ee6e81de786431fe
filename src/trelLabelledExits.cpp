#include "trelLabelledExits.h"

#include <algorithm>

#include "trelExitColumns.h"
#include "trelExitTable.h"
#include "trelNetcdfFile.h"

static void AddPathVariables(trelNetcdfFile& file, int legs)
{
  for (int leg = 0; leg < legs; ++leg) {
    const std::string where = legs == 1              ? " in each tissue"
                              : leg == LegOfEmission ? " in each tissue behind the conversion"
                                                     : " in each tissue ahead of a conversion";
    for (const trelExitPathColumn& column : ListExitPathColumns())
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
  write("exit_entry_first", "number of the first packet covered", "1",
        [](const trelExitEntry& entry) { return entry.First; });
  write("exit_entry_end", "number of the packet behind the last one covered", "1",
        [](const trelExitEntry& entry) { return entry.End; });
}

/** Writes columns of some rows behind those that are there. */
class trelExitBlock
{
public:
  trelExitBlock(trelNetcdfFile& file, const trelExitTable& table, std::size_t tissues, int legs)
      : File(file), Table(table), Tissues(tissues), Legs(legs), Columns(ListExitColumns())
  {
  }

  void Write(const std::vector<trelExitRow>& rows, std::size_t count)
  {
    for (const trelExitColumn& column : Columns) {
      Values.clear();
      for (std::size_t i = 0; i < count; ++i)
        column.Take(Table.Entries, rows[i].Exit, Values);
      Put(column.Variable.Name, count, column.Variable.Dimensions.size() > 1);
    }
    for (int leg = 0; leg < Legs; ++leg) {
      for (const trelExitPathColumn& column : ListExitPathColumns()) {
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
    std::vector<trelExitRow> rows(CountExitsOfBlock(tissues));
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
