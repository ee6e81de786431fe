#include <iostream>

#include "trelDriver.h"
#include "trelProgramSignals.h"

int main(int argc, char** argv)
{
  PrepareForSignals();
  return RunDriver(argc, argv, std::cout);
}
