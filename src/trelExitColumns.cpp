#include "trelExitColumns.h"

#include <algorithm>
#include <limits>
#include <type_traits>

/** Numbers of a block of rows by tissue, at most. */
static constexpr std::size_t blockNumbers = 1 << 18;
static constexpr std::size_t mostRows = 1 << 14;

std::size_t CountExitsOfBlock(std::size_t tissues)
{
  return std::clamp<std::size_t>(blockNumbers / std::max<std::size_t>(tissues, 1), 1, mostRows);
}

static void AddVector(const trelVector& v, std::vector<double>& values)
{
  values.insert(values.end(), {v.X, v.Y, v.Z});
}

static const trelExitEntry& EntryOf(const trelExitColumn::Entries& entries, const trelExit& exit)
{
  return entries[static_cast<std::size_t>(exit.Entry)];
}

/** The entry of these numbers as doubles, or the first of the source; -1 if there is none. */
static std::int32_t FindEntry(const trelExitColumn::Entries& entries, double source,
                              const double* spectrum)
{
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (static_cast<double>(entries[i].Source) != source) continue;
    if (!spectrum || static_cast<double>(entries[i].Spectrum) == *spectrum)
      return static_cast<std::int32_t>(i);
  }
  return -1;
}

template <class Whole>
static Whole WholeOf(double value)
{
  constexpr std::int64_t most =
      std::min<std::int64_t>(std::int64_t{1} << 53, std::numeric_limits<Whole>::max());
  return value >= 0.0 && value <= static_cast<double>(most) ? static_cast<Whole>(value)
                                                            : static_cast<Whole>(-1);
}

/** A column of whole numbers, or of 64-bit floats. */
template <class Number, Number trelExit::*Member>
static trelExitColumn MakeColumn(const char* name, const char* words, const char* units,
                                 trelNetcdfType type)
{
  return {{name, words, units, {"exit"}, type},
          [](const trelExitColumn::Entries&, const trelExit& exit, std::vector<double>& values) {
            values.push_back(static_cast<double>(exit.*Member));
          },
          [](const trelExitColumn::Entries&, const double* values, trelExit& exit) {
            if constexpr (std::is_same_v<Number, double>) {
              exit.*Member = *values;
            } else {
              exit.*Member = WholeOf<Number>(*values);
            }
          }};
}

template <trelVector trelExit::*Member>
static trelExitColumn MakeVectorColumn(const char* name, const char* words, const char* units)
{
  return {{name, words, units, {"exit", "xyz"}},
          [](const trelExitColumn::Entries&, const trelExit& exit, std::vector<double>& values) {
            AddVector(exit.*Member, values);
          },
          [](const trelExitColumn::Entries&, const double* values, trelExit& exit) {
            exit.*Member = {values[0], values[1], values[2]};
          }};
}

/** A column of what the entry of an exit has. */
template <std::int64_t trelExitEntry::*Member>
static trelExitColumn MakeEntryColumn(const char* name, const char* words)
{
  return {{name, words, "1", {"exit"}, NetcdfInteger},
          [](const trelExitColumn::Entries& entries, const trelExit& exit,
             std::vector<double>& values) {
            values.push_back(static_cast<double>(EntryOf(entries, exit).*Member));
          },
          [](const trelExitColumn::Entries& entries, const double* values, trelExit& exit) {
            if (Member == &trelExitEntry::Source)
              exit.Entry = FindEntry(entries, *values, nullptr);
            else if (exit.Entry >= 0)
              exit.Entry =
                  FindEntry(entries, static_cast<double>(EntryOf(entries, exit).Source), values);
          }};
}

std::vector<trelExitColumn> ListExitColumns()
{
  return {
      MakeVectorColumn<&trelExit::Position>(
          "exit_position", "where the packet left the medium or met a fibre", "mm"),
      MakeVectorColumn<&trelExit::Direction>(
          "exit_direction",
          "unit vector, outside of the medium after refraction, or as it met a fibre inside", "1"),
      MakeColumn<double, &trelExit::Weight>(
          "exit_weight",
          "weight of the packet, if the packet that was launched had all the energy of its source"
          " and spectrum: the sum over those of one, divided by exit_entry_packets, is its part of"
          " the result",
          "1", NetcdfReal),
      MakeColumn<double, &trelExit::Time>("exit_time", "time of flight", "ps", NetcdfReal),
      MakeColumn<std::int32_t, &trelExit::Wavelength>("exit_wavelength", "wavelength", "nm",
                                                      NetcdfInteger),
      MakeEntryColumn<&trelExitEntry::Source>("exit_source", "number of the light source, from 1"),
      MakeEntryColumn<&trelExitEntry::Spectrum>("exit_spectrum",
                                                "number of the spectrum in its source, from 1"),
      MakeColumn<std::int64_t, &trelExit::Place>(
          "exit_place", "packets of all sources that the run launched ahead of this one", "1",
          NetcdfCount),
      MakeColumn<std::int64_t, &trelExit::Packet>(
          "exit_packet", "number of the launched packet in its source and spectrum, from 0", "1",
          NetcdfCount),
      MakeColumn<std::int64_t, &trelExit::Conversion>(
          "exit_conversion",
          "number of the emission among those of the launched packet, from 1; 0 for itself", "1",
          NetcdfCount),
      MakeColumn<std::int32_t, &trelExit::Detector>(
          "exit_detector", "number of the fibre that collected it, 0 for none", "1", NetcdfInteger),
      MakeColumn<std::int32_t, &trelExit::Face>(
          "exit_face", "face of the medium that it left through, from 1; 0 for a fibre inside", "1",
          NetcdfInteger)};
}

const std::vector<trelExitPathColumn>& ListExitPathColumns()
{
  static const std::vector<trelExitPathColumn> columns = {
      {"scatterings", "scatterings", "1", NetcdfCount,
       [](const trelTissuePath& path) { return static_cast<double>(path.Scatterings); },
       [](double value, trelTissuePath& path) {
         path.Scatterings = WholeOf<std::uint32_t>(value);
       }},
      {"path_length", "path length", "mm", NetcdfReal,
       [](const trelTissuePath& path) { return path.Length; },
       [](double value, trelTissuePath& path) { path.Length = value; }},
      {"momentum_transfer", "sum of 1 - cos(scattering angle)", "1", NetcdfReal,
       [](const trelTissuePath& path) { return path.MomentumTransfer; },
       [](double value, trelTissuePath& path) { path.MomentumTransfer = value; }}};
  return columns;
}

std::string GetPathName(const trelExitPathColumn& column, int leg)
{
  return std::string(leg == LegOfEmission ? "exit_emission_" : "exit_") + column.Name;
}
