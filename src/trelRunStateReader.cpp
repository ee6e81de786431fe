#include "trelRunStateReader.h"

#include "trelNetcdfInput.h"

void trelRunStateReader::Pass(const char* name, const std::vector<trelNumbers>& pieces)
{
  if (!IsSound()) return;
  const std::string variable = GetStateVariable(name);
  bool isSet = File.GetLength(variable) == CountNumbers(pieces);
  std::size_t first = 0;
  for (const trelNumbers& piece : pieces) {
    isSet = isSet && (piece.Number == 0 || File.Get(variable, first, piece.Number, piece.First));
    first += piece.Number;
  }
  if (!isSet) Missing = name;
}
