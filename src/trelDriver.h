#ifndef trelDriver_h
#define trelDriver_h

#include <iosfwd>

/**
 * Runs the program: reads the parameter file, simulates, writes the results, and logs on @p log.
 *
 * @p arguments are the program's name, the parameter file, the base name of the result files, and
 * the absorption and scattering coefficients (1/mm), anisotropy and refractive index that replace
 * those of the first spectrum of the first tissue, so that a series of runs can share one file.
 * Arguments beyond the sixth are ignored; if one is missing, a report names it and nothing is run.
 * A stage that failed has shown its report, and the following stages run all the same, so that the
 * log keeps its form. Returns the exit status, which is 0.
 */
int RunDriver(int count, const char* const* arguments, std::ostream& log);

#endif
