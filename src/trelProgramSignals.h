#ifndef trelProgramSignals_h
#define trelProgramSignals_h

/**
 * @file trelProgramSignals.h
 * What a program of ours does on signals. Only programs ask for it: the library changes nothing in
 * the process that it is a guest of.
 */

/**
 * Called first by a program. From then on SIGINT, SIGTERM and SIGHUP remove the files that are not
 * complete and end the process as they would have; one that was ignored from the start, by nohup
 * for instance, stays so. A log that nobody reads any more and a limit on the size of files fail a
 * write instead of ending the run.
 */
void PrepareForSignals();

class trelRunControl;

/**
 * From then on SIGINT and SIGTERM ask @p run to stop while its packets fly. Another one within two
 * seconds changes nothing, one after that ends the process at once with 128 and the number of the
 * signal as status. Before and after the packets they end the process as usual. @p run lives as
 * long as the process.
 */
void StopOnSignals(trelRunControl& run);

#endif
