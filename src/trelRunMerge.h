#ifndef trelRunMerge_h
#define trelRunMerge_h

#include <iosfwd>
#include <string>
#include <vector>

#include "trelRunDriver.h"
#include "trelTemporaryFiles.h"

/**
 * @class   trelRunMerge
 * @brief   puts results of parts of a run, or of runs of different seeds, together
 *
 * The model is in the results, and is read again, for which its meshes have to be where the model
 * names them: beside the model of the first part, or beside that part.
 */
class trelRunMerge
{
public:
  /** Of the options those count that say how results are written. */
  trelRunMerge(const trelRunOptions& options, std::ostream& log, std::ostream& messages);
  ~trelRunMerge();
  trelRunMerge(const trelRunMerge&) = delete;
  trelRunMerge& operator=(const trelRunMerge&) = delete;

  /** Makes the result with the base @p base of those at @p parts, each with or without ".nc". A
   *  trelRunStatus. */
  int Run(const std::string& base, const std::vector<std::string>& parts);

private:
  bool FindModel();
  bool TakeChanges();

  trelRunOptions Options;
  std::ostream& Log;
  std::ostream& Messages;
  trelRunOrigin Parts;
  trelTemporaryFile Model;
};

#endif
