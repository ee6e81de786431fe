#include "trelRunProgress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>

/** Three digits and the letter of a thousand, a million and so on: 1.23M. */
static std::string FormatCount(double count)
{
  static const char* const units[] = {"", "k", "M", "G", "T"};
  std::size_t unit = 0;
  for (; count >= 999.5 && unit < 4; ++unit)
    count /= 1000.0;
  char text[32];
  std::snprintf(text, sizeof text, "%.3g%s", count, units[unit]);
  return text;
}

/** Hours, minutes and seconds. */
static std::string FormatTime(double seconds)
{
  if (seconds < 0.0) return "?";
  const auto whole = static_cast<long long>(std::min(std::ceil(seconds), 1e15));
  char text[48];
  std::snprintf(text, sizeof text, "%lld:%02d:%02d", whole / 3600,
                static_cast<int>(whole / 60 % 60), static_cast<int>(whole % 60));
  return text;
}

static int FindPercent(const trelRunState& state)
{
  return static_cast<int>(100.0 * state.GetShare());
}

/** The relative error in percent, in two digits; nothing while it is not known. */
static std::string FormatError(const trelRunState& state)
{
  if (state.RelativeError < 0.0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "+-%.2g %%, ", 100.0 * state.RelativeError);
  return text;
}

/** What goes on beside the share. */
static std::string FormatRates(const trelRunState& state)
{
  return FormatError(state) + FormatCount(state.GetRate(state.PacketsHere)) + " packets/s, " +
         FormatCount(state.GetRate(state.Interactions)) + " interactions/s, " +
         FormatTime(state.SecondsLeft) + " left";
}

std::string FormatProgressBar(const trelRunState& state, int columns)
{
  char percent[16];
  std::snprintf(percent, sizeof percent, "] %3d %%  ", FindPercent(state));
  const std::string behind = percent + FormatRates(state);
  // A terminal goes to the next line behind its last column.
  const int room = columns - 2 - static_cast<int>(behind.size());
  std::string text = behind.substr(2);
  if (room >= 4) {
    const int full = static_cast<int>(room * state.GetShare());
    text = "[" + std::string(static_cast<std::size_t>(full), '#') +
           std::string(static_cast<std::size_t>(room - full), ' ') + behind;
  }
  text.resize(static_cast<std::size_t>(std::max(columns - 1, 1)), ' ');
  return text;
}

std::string FormatProgressLine(const trelRunState& state)
{
  return std::to_string(FindPercent(state)) + " %, " + std::to_string(state.Packets) + " of " +
         std::to_string(state.PacketsAsked) + " packets, " + FormatRates(state);
}

std::string FormatProgressJson(const trelRunState& state)
{
  std::ostringstream text;
  const auto addOrNull = [&](double number) {
    if (number < 0.0) {
      text << "null";
    } else {
      text << number;
    }
  };
  text << "{\"share\": " << state.GetShare() << ", \"packets\": " << state.Packets
       << ", \"packets_asked\": " << state.PacketsAsked
       << ", \"interactions\": " << state.Interactions
       << ", \"packets_per_second\": " << state.GetRate(state.PacketsHere)
       << ", \"seconds\": " << state.Seconds << ", \"seconds_left\": ";
  addOrNull(state.SecondsLeft);
  text << ", \"relative_error\": ";
  addOrNull(state.RelativeError);
  text << ", \"done\": " << (state.IsDone ? "true" : "false") << '}';
  return text.str();
}

trelRunProgress::trelRunProgress(const trelRunControl& control, trelProgressForm form, int columns,
                                 const std::string& model, std::ostream& stream)
    : Control(control), Form(form), Columns(columns), Model(model), Stream(stream)
{
}

bool trelRunProgress::IsDue(const trelRunState& state, bool isOver) const
{
  const double passed = state.Seconds - LastShown;
  switch (Form) {
    case ProgressBar:
      return isOver || passed >= 0.2;
    case ProgressLines:
      return !isOver && passed >= 30.0;
    case ProgressJson:
      return isOver || passed >= 1.0;
    case ProgressNone:
      break;
  }
  return false;
}

/** In one piece, between which nothing else can be written. */
bool trelRunProgress::Execute()
{
  const bool isOver = !Control.IsRunning();
  const trelRunState state = Control.Look();
  if (!IsDue(state, isOver)) return true;
  LastShown = state.Seconds;
  std::string text;
  if (Form == ProgressBar) text = "\r" + FormatProgressBar(state, Columns) + (isOver ? "\n" : "");
  if (Form == ProgressLines) text = Model + ": " + FormatProgressLine(state) + "\n";
  if (Form == ProgressJson) text = FormatProgressJson(state) + "\n";
  Stream << text << std::flush;
  return true;
}
