#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <utility>

#ifndef _WIN32
#include <sys/ioctl.h>
#include <unistd.h>
#endif

#include "trelExitRecorder.h"
#include "trelLaneKernel.h"
#include "trelProgramSignals.h"
#include "trelRunDriver.h"
#include "trelRunMerge.h"
#include "trelThreads.h"
#include "trelrunJson.h"

static const char* const programName = "trelrun " TRELRUN_VERSION;

/** What CLI11 reads ahead of its meaning. */
struct trelrunWords
{
  std::string Rules = "exact";
  std::optional<double> Coefficients[4];
  std::vector<std::string> Settings;
  bool IsJson = false;
  bool SkipsPilot = false;
  std::string Cut;
  std::vector<const CLI::Option*> Exact;  ///< that the classic rules do not have
  std::string Progress = "auto";
  std::optional<double> MaximumSeconds;
  std::string Seed;
  std::string Range;
  std::vector<std::string> Merged;
  std::optional<double> RelativeError;
  std::string Exits;
  std::string OnlyPacket;
};

static constexpr std::int64_t mostPackets = 1000000000000000;
static constexpr std::int64_t mostBatches = 1000000;

static const char* const coefficientNames[] = {"mua", "mus", "g", "n"};

/** Turns whole numbers like 1e10 into digits. */
static std::string WriteOut(std::string& text)
{
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  const bool isWhole = *end == '\0' && std::floor(number) == number && std::fabs(number) <= 1e15;
  if (isWhole) text = std::to_string(static_cast<std::int64_t>(number));
  return "";
}

/** Whether all of @p text is a number of @p number's type, in digits alone. */
template <class Number>
static bool ReadWholeNumber(const std::string& text, Number& number)
{
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

/** The options that the classic rules do not have. */
static void DescribeExact(CLI::App& app, trelRunOptions& options, trelrunWords& words)
{
  words.Exact = {
      app.add_option("--seed", words.Seed,
                     "Of the streams of random numbers, 64 bits (default: the system's entropy)"),
      app.add_option("--packets", options.Packets,
                     "Packets of all sources together, in the file's proportions (default: the"
                     " file's); the energy stays")
          ->transform(CLI::Validator(WriteOut, "NUMBER"))
          ->check(CLI::Range(std::int64_t{1}, mostPackets)),
      app.add_option("--batches", options.Batches,
                     "Runs on a smaller scale from whose scatter errors come (default: 20); the"
                     " packets of each source are rounded up to a multiple")
          ->transform(CLI::Validator(WriteOut, "NUMBER"))
          ->check(CLI::Range(std::int64_t{1}, mostBatches)),
      app.add_flag("--keep-batches", options.KeepsBatches, "Write the grids of every batch, too"),
      app.add_flag("--elements", options.SavesElements,
                   "Score absorption by tetrahedron of a tetrahedral medium, too"),
      app.add_flag("--continue", options.IsContinued,
                   "Go on from BASE.nc, or its checkpoint, to --packets or --batches as the new"
                   " total"),
      app.add_option("--checkpoint", options.CheckpointSeconds,
                     "Keep what is done beside the result every so many seconds (default: 60); 0:"
                     " only when the run is stopped")
          ->check(CLI::Range(0.0, 1e9)),
      app.add_option("--packet-range", words.Range,
                     "FIRST:COUNT: fly only these packets of the run, whole batches of it"),
      app.add_option("--rel-error", words.RelativeError,
                     "Go on, batch by batch, until the relative standard error of a total is below"
                     " this fraction; --packets and --max-seconds end it before"),
      app.add_option("--of", options.Total,
                     "The total whose error that is, and is shown: absorption (default),"
                     " transmittance, a face (top, ...), fibre1, camera2, ...")};
}

/** The options of what leaves the medium. */
static void DescribeExits(CLI::App& app, trelRunOptions& options, trelrunWords& words)
{
  words.Exact.insert(
      words.Exact.end(),
      {app.add_option("--exits", words.Exits,
                      "N or all: a table of the packets that leave or are collected, of those"
                      " launched first until there are N")
           ->transform(CLI::Validator(WriteOut, "NUMBER")),
       app.add_option(
           "--only-packet", words.OnlyPacket,
           "SOURCE:SPECTRUM:N: fly packet N, from 0, of --seed alone, and tell its path"),
       app.add_option("--replay", options.Again.File,
                      "Fly the exits of this result file again, and write how their light changes"
                      " with the absorption of each cell"),
       app.add_option("--detector", options.Again.Detector,
                      "With --replay: only what this fibre collected")
           ->needs("--replay")
           ->check(CLI::Range(1, 1 << 30))});
}

/** The options of a look at the model. */
static void DescribeCheck(CLI::App& app, trelRunOptions& options, trelrunWords& words)
{
  CLI::Option* check = app.add_flag("--check", options.IsCheck, "Look at the model, and stop");
  CLI::Option* json =
      app.add_flag("--json", words.IsJson, "With --check: as JSON, for other programs");
  json->needs(check);
  app.add_flag("--no-pilot", words.SkipsPilot,
               "With --check: fly no packets; what they would tell is not known")
      ->needs(check);
  app.add_option("--cut", words.Cut,
                 "With --check --json: AXIS=VALUE[:N], the tissues in that plane, at N points along"
                 " the longer side (default: 200)")
      ->needs(json);
}

/** The program, and what of the processor it makes use of. */
static std::string NameVersion()
{
  const std::string lanes = std::to_string(GetLaneCount());
  return std::string(programName) + "\npackets side by side: " + lanes + " (" + GetLaneTarget() +
         ")";
}

static void Describe(CLI::App& app, trelRunOptions& options, trelrunWords& words)
{
  app.set_version_flag("--version", NameVersion());
  CLI::Option* model = app.add_option("MODEL.trl", options.Model, "The parameter file");
  app.add_option("-o,--output", options.Base,
                 "Base name of the result files (default: the model's, in the current folder);"
                 " - writes none");
  app.add_flag("--text", options.WritesText, "Write the results as text files, too");
  for (int i = 0; i < 4; ++i) {
    app.add_option(std::string("--") + coefficientNames[i], words.Coefficients[i],
                   std::string(coefficientNames[i]) +
                       " of the first tissue at the first wavelength (default: the file's)");
  }
  app.add_option("--set", words.Settings,
                 "TISSUE.NAME=VALUE: mua, mus, g or n of a tissue, by number or name;"
                 " TISSUE@WAVELENGTH.NAME=VALUE at one wavelength. May be repeated")
      ->take_all()
      ->expected(1)
      ->allow_extra_args(false);
  app.add_option("--threads", options.Threads,
                 "Threads (default: the cores that the process may use)")
      ->check(CLI::Range(1, MaximumNumberOfThreads));
  DescribeExact(app, options, words);
  DescribeExits(app, options, words);
  app.add_option("--merge", words.Merged,
                 "OUT IN...: put results of parts of a run, or of runs of different seeds, together"
                 " as OUT.nc, without a MODEL")
      ->expected(3, CLI::detail::expected_max_vector_size)
      ->excludes(model);
  app.add_option("--rules", words.Rules, "exact (default), or classic: those of trel")
      ->check(CLI::IsMember({"exact", "classic"}));
  DescribeCheck(app, options, words);
  app.add_flag("--quiet", options.IsQuiet, "No log and no progress; messages only");
  app.add_option(
         "--progress", words.Progress,
         "How far the run is, on the standard error: bar; lines, one every 30 s; json, an object"
         " a second; none; auto (default): a bar on a terminal, else lines")
      ->check(CLI::IsMember({"auto", "bar", "lines", "json", "none"}));
  app.add_option("--max-seconds", words.MaximumSeconds,
                 "Stop the packets after so many seconds (default: when all are flown)");
  app.add_flag("--allow-open", options.AllowsOpen, "Run surfaces that are not closed");
  app.footer(
      "Exit status: 0 done; 1 the model is wrong or the run failed; 2 usage; 3 the results"
      " could not be written; 130 and 143: stopped by SIGINT or SIGTERM.");
}

/** The first option given that another one has no use for, as a fault; or empty. */
static std::string FindConflict(const CLI::App& app)
{
  static const struct
  {
    const char* Name;
    std::vector<const char*> Others;
  } conflicts[] = {
      {"--merge",
       {"--output", "--max-seconds", "--check", "--set", "--mua", "--mus", "--g", "--n"}},
      {"--replay",
       {"--continue", "--keep-batches", "--rel-error", "--packet-range", "--text", "--max-seconds",
        "--checkpoint"}},
      {"--only-packet",
       {"--continue", "--keep-batches", "--rel-error", "--packet-range", "--text", "--max-seconds",
        "--checkpoint", "--output"}}};
  for (const auto& conflict : conflicts) {
    if (app.get_option(conflict.Name)->count() == 0) continue;
    for (const char* other : conflict.Others)
      if (app.get_option(other)->count() > 0)
        return std::string(other) + ": not with " + conflict.Name;
  }
  return "";
}

/** What is wrong with the changes of coefficients, or empty. */
static std::string TakeChanges(const trelrunWords& words, trelRunOptions& options)
{
  for (int i = 0; i < 4; ++i) {
    if (!words.Coefficients[i]) continue;
    const trelCoefficientChange change = {std::string("--") + coefficientNames[i],
                                          "1",
                                          false,
                                          0,
                                          coefficientNames[i],
                                          *words.Coefficients[i]};
    const std::string fault = FindValueFault(change);
    if (!fault.empty()) return change.Text + ": " + fault;
    options.Changes.push_back(change);
  }
  for (const std::string& text : words.Settings) {
    trelCoefficientChange change;
    const std::string fault = ReadCoefficientChange(text, &change);
    if (!fault.empty()) return std::string("--set ").append(text).append(": ").append(fault);
    options.Changes.push_back(change);
  }
  return "";
}

/** What is wrong with the packet asked for, or empty. */
static std::string TakeOnlyPacket(const trelrunWords& words, trelRunOptions& options)
{
  if (words.OnlyPacket.empty()) return "";
  if (!words.Exits.empty() || !options.Again.File.empty())
    return "--only-packet: not with --exits or --replay";
  if (!options.Seed) return "--only-packet: say of which run by --seed";
  return ReadPacketName(words.OnlyPacket, &options.Again.Packet)
             ? ""
             : "--only-packet: expected SOURCE:SPECTRUM:N, numbers of which N alone counts from 0";
}

/** What is wrong with the exits asked for, or empty. */
static std::string TakeExits(const trelrunWords& words, trelRunOptions& options)
{
  if (words.Exits.empty()) return "";
  if (!options.Again.File.empty()) return "--exits: not with --replay";
  if (options.Base == "-") return "--exits: with -o - there is no file that takes them";
  return ReadExitLimit(words.Exits, &options.Exits) ? ""
                                                    : "--exits: expected a number above 0, or all";
}

/** What is wrong with what a check is asked for, or empty. */
static std::string TakeCheck(const trelrunWords& words, trelRunOptions& options)
{
  options.FliesPilot = !words.SkipsPilot;
  if (words.Cut.empty()) return "";
  if (options.Rules == RulesClassic)
    return "--cut: not with --rules classic, by which a step decides where a tissue ends";
  const std::string fault = ReadCutPlane(words.Cut, &options.Cut.emplace());
  return fault.empty() ? "" : "--cut: " + fault;
}

/** The first option given that the rules do not have, as a fault; or empty. */
static std::string FindOptionFault(const trelrunWords& words, const trelRunOptions& options)
{
  for (const CLI::Option* option : words.Exact) {
    if (option->count() == 0) continue;
    if (options.Rules == RulesClassic)
      return option->get_name() +
             ": not with --rules classic, whose streams are seeded by the clock";
    if (!words.Merged.empty())
      return option->get_name() + ": not with --merge, which flies no packets";
  }
  return "";
}

/** What is wrong with the packets that are asked for, or empty. */
static std::string TakePackets(const trelrunWords& words, trelRunOptions& options)
{
  if (!words.Seed.empty() && !ReadWholeNumber(words.Seed, options.Seed.emplace()))
    return "--seed: expected a whole number from 0 to 18446744073709551615";
  if (options.IsContinued && options.Packets > 0 && options.Batches)
    return "--continue: --packets or --batches is the new total, not both";
  if (!(options.CheckpointSeconds >= 0.0)) return "--checkpoint: expected seconds, 0 or above";
  if (options.IsContinued && options.Base == "-")
    return "--continue: -o - has no result to go on from";
  if (options.KeepsBatches && (options.Batches == 1 || options.Base == "-"))
    return "--keep-batches: there is no file of several batches";
  return "";
}

/** What is wrong with the range of packets, or empty. */
static std::string TakeRange(const trelrunWords& words, trelRunOptions& options)
{
  if (words.Range.empty()) return "";
  const std::size_t colon = std::min(words.Range.find(':'), words.Range.size() - 1);
  trelPacketRange& range = options.Range;
  const bool isRead = ReadWholeNumber(words.Range.substr(0, colon), range.First) &&
                      ReadWholeNumber(words.Range.substr(colon + 1), range.Number);
  if (!isRead || range.First < 0 || range.Number < 0)
    return "--packet-range: expected FIRST:COUNT, two whole numbers";
  if (range.Number == 0) return "--packet-range: expected one packet or more behind the colon";
  if (options.IsContinued) return "--packet-range: not with --continue, which keeps the range";
  if (options.Batches == 1) return "--packet-range: expected several --batches";
  return "";
}

/** What is wrong with the error that is to end the run, or empty. */
static std::string TakeGoal(const trelrunWords& words, trelRunOptions& options)
{
  if (!words.RelativeError) return "";
  if (!(*words.RelativeError > 0.0 && *words.RelativeError < 1.0))
    return "--rel-error: expected a fraction, above 0 and below 1";
  if (options.Batches == 1) return "--rel-error: one batch tells no errors; ask for more --batches";
  if (options.Range.Number > 0)
    return "--rel-error: not with --packet-range, which is all there is";
  options.RelativeError = *words.RelativeError;
  return "";
}

/** Columns of the terminal that the standard error is; 0 if it is none. */
static int FindColumns()
{
#ifndef _WIN32
  winsize size = {};
  if (isatty(STDERR_FILENO) == 0) return 0;
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
#endif
  return 80;
}

/** What is wrong with progress and limits, or empty. */
static std::string TakeWatch(const trelrunWords& words, trelRunOptions& options)
{
  static const std::pair<const char*, trelProgressForm> forms[] = {{"none", ProgressNone},
                                                                   {"bar", ProgressBar},
                                                                   {"lines", ProgressLines},
                                                                   {"json", ProgressJson}};
  const bool isAuto = words.Progress == "auto";
  if (options.Rules == RulesClassic) {
    if (words.MaximumSeconds || !(isAuto || words.Progress == "none"))
      return "--max-seconds and --progress are not for --rules classic";
    return "";
  }
  if (words.MaximumSeconds && !(*words.MaximumSeconds > 0.0 && *words.MaximumSeconds < 1e9))
    return "--max-seconds: expected seconds, above 0 and below 1e9";
  options.MaximumSeconds = words.MaximumSeconds.value_or(0.0);
  const int columns = FindColumns();
  if (columns > 0) options.Columns = columns;
  if (isAuto) options.Progress = columns > 0 ? ProgressBar : ProgressLines;
  for (const auto& [word, form] : forms) {
    if (words.Progress == word) options.Progress = form;
  }
  if (options.IsQuiet) options.Progress = ProgressNone;
  return "";
}

/** What is wrong with the command line, or empty. */
static std::string TakeWords(const CLI::App& app, const trelrunWords& words,
                             trelRunOptions& options)
{
  std::string fault = FindConflict(app);
  if (fault.empty()) fault = FindOptionFault(words, options);
  for (const auto take : {TakeChanges, TakeCheck, TakeWatch, TakePackets, TakeRange, TakeGoal,
                          TakeExits, TakeOnlyPacket})
    if (fault.empty()) fault = take(words, options);
  return fault;
}

static int RunProgram(int argc, char** argv)
{
  trelRunOptions options;
  options.Program = programName;
  trelrunWords words;
  CLI::App app("Follows light through the model of a parameter file.", "trelrun");
  Describe(app, options, words);
  try {
    app.parse(argc, argv);
    if (options.Model.empty() && words.Merged.empty()) throw CLI::RequiredError("MODEL.trl");
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? RunDone : RunUsage;
  }
  options.Rules = words.Rules == "classic" ? RulesClassic : RulesExact;
  if (words.IsJson) options.Format = FormatCheckJson;
  const std::string fault = TakeWords(app, words, options);
  if (!fault.empty()) {
    std::cerr << programName << ": error: " << fault << '\n';
    return RunUsage;
  }
  if (!words.Merged.empty()) {
    return trelRunMerge(options, std::cout, std::cerr)
        .Run(words.Merged[0], {words.Merged.begin() + 1, words.Merged.end()});
  }
  static trelRunControl control;
  options.Control = &control;
  StopOnSignals(control);
  return trelRunDriver(options, std::cout, std::cerr).Run();
}

int main(int argc, char** argv)
{
  PrepareForSignals();
  try {
    return RunProgram(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("trelrun: error: out of memory\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "trelrun: error: %s\n", error.what());
  }
  return RunFailed;
}
