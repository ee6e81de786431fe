#ifndef trelTrialProcess_h
#define trelTrialProcess_h

#include <functional>

/**
 * @file trelTrialProcess.h
 * The library beneath NetCDF frees memory that it never had when some parts of a file are damaged.
 * What reads a file that is not known to be whole is tried in a copy of the process first.
 */

/** Runs @p action in a copy of the process, whose messages nobody sees. False if it does not come
 *  to its end. True where there can be no copy. */
bool ComesToItsEnd(const std::function<void()>& action);

#endif
