#include <iostream>

#include "trelDriver.h"

int main(int argc, char** argv)
{
  return RunDriver(argc, argv, std::cout);
}
