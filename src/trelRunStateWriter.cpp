#include "trelRunStateWriter.h"

#include "trelNetcdfFile.h"

bool trelRunStateWriter::IsSound() const
{
  return File.GetFault().empty();
}

void trelRunStateWriter::Pass(const char* name, const std::vector<trelNumbers>& pieces)
{
  const std::string variable = GetStateVariable(name);
  if (!File.AddDimension(variable, CountNumbers(pieces))) return;
  File.AddVariable(
      {variable, "for a run that goes on from here", "", {variable}, NetcdfReal, true});
  std::size_t first = 0;
  for (const trelNumbers& piece : pieces) {
    File.Put(variable, {first}, {piece.Number}, piece.First);
    first += piece.Number;
  }
}
