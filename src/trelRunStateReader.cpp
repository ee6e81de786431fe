#include "trelRunStateReader.h"

#include <algorithm>
#include <cstring>

#include "trelNetcdfInput.h"

/** Adds @p other to @p number, in most parts of a state; false if they cannot be of one run. */
using trelCombine = bool (*)(double& number, double other);

static trelCombine FindCombine(const char* name)
{
  if (std::strcmp(name, "packets_of_batch") == 0)
    return [](double& number, double other) { return number == other; };
  if (std::strcmp(name, "first_batch") == 0) {
    return [](double& number, double other) {
      number = std::min(number, other);
      return true;
    };
  }
  return [](double& number, double other) {
    number += other;
    return true;
  };
}

static bool IsByBatch(const std::string& name)
{
  static const std::string ending = "_by_batch";
  return name.size() > ending.size() &&
         name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

/** Fills the pieces from the files one behind the other. */
bool trelRunStateReader::Join(const std::string& variable,
                              const std::vector<trelNumbers>& pieces) const
{
  std::size_t length = 0;
  for (const trelNetcdfInput* file : Files)
    length += file->GetLength(variable);
  if (length != CountNumbers(pieces)) return false;
  auto file = Files.begin();
  std::size_t first = 0;
  for (trelNumbers piece : pieces) {
    while (piece.Number > 0) {
      const std::size_t number = std::min(piece.Number, (*file)->GetLength(variable) - first);
      if (number > 0 && !(*file)->Get(variable, first, number, piece.First)) return false;
      first += number;
      piece = {piece.First + number, piece.Number - number};
      if (piece.Number == 0) break;
      ++file;
      first = 0;
    }
  }
  return true;
}

/** Reads the numbers of one file from the one at @p first on, over those that are there or, with
 *  @p combine, together with them. */
static bool ReadPiece(const trelNetcdfInput& file, const std::string& variable, std::size_t first,
                      trelNumbers piece, trelCombine combine)
{
  if (!combine) return piece.Number == 0 || file.Get(variable, first, piece.Number, piece.First);
  constexpr std::size_t most = 1 << 16;
  std::vector<double> others;
  for (std::size_t i = 0; i < piece.Number; ++i) {
    if (i % most == 0) {
      others.resize(std::min(piece.Number - i, most));
      if (!file.Get(variable, first + i, others.size(), others.data())) return false;
    }
    if (!combine(piece.First[i], others[i % most])) return false;
  }
  return true;
}

bool trelRunStateReader::Combine(const char* name, const std::string& variable,
                                 const std::vector<trelNumbers>& pieces) const
{
  for (const trelNetcdfInput* file : Files) {
    if (file->GetLength(variable) != CountNumbers(pieces)) return false;
    const trelCombine combine = file == Files.front() ? nullptr : FindCombine(name);
    std::size_t first = 0;
    for (const trelNumbers& piece : pieces) {
      if (!ReadPiece(*file, variable, first, piece, combine)) return false;
      first += piece.Number;
    }
  }
  return true;
}

bool trelRunStateReader::Admits(const char* name, std::size_t numbers)
{
  std::size_t length = 0;
  for (const trelNetcdfInput* file : Files)
    length += file->GetLength(GetStateVariable(name));
  if (IsSound() && length != numbers) Missing = name;
  return IsSound();
}

void trelRunStateReader::Pass(const char* name, const std::vector<trelNumbers>& pieces)
{
  if (!IsSound()) return;
  const std::string variable = GetStateVariable(name);
  const bool isSet = IsByBatch(name) ? Join(variable, pieces) : Combine(name, variable, pieces);
  if (!isSet) Missing = name;
}
