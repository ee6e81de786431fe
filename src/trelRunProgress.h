#ifndef trelRunProgress_h
#define trelRunProgress_h

#include <iosfwd>
#include <string>

#include "trelProcessObject.h"
#include "trelRunControl.h"

/** How the progress of a run is shown. */
enum trelProgressForm
{
  ProgressNone,
  ProgressBar,    ///< one line of a terminal, written over and over
  ProgressLines,  ///< a line every 30 s
  ProgressJson    ///< an object a line, one a second and a last one
};

/**
 * @class   trelRunProgress
 * @brief   shows how far a run has come, whenever the stage that it depends on notifies it
 *
 * Of more notices than a form has room for it shows some.
 *
 * @sa trelRunControl
 */
class trelRunProgress final : public trelProcessObject
{
  trelTypeMacro(trelRunProgress, trelProcessObject)

public:
  /** Of the run of @p control to @p stream, which outlive this. A bar is @p columns wide; lines
   * name
   *  @p model. */
  trelRunProgress(const trelRunControl& control, trelProgressForm form, int columns,
                  const std::string& model, std::ostream& stream);

  /** Shows the state if it is due. */
  bool Execute() override;

private:
  bool IsDue(const trelRunState& state, bool isOver) const;

  const trelRunControl& Control;
  const trelProgressForm Form;
  const int Columns;
  const std::string Model;
  std::ostream& Stream;
  double LastShown = 0.0;  ///< s after the first packet
};

/** The forms of a state: a bar of @p columns characters, a line without its end, an object of
 *  JSON. */
std::string FormatProgressBar(const trelRunState& state, int columns);
std::string FormatProgressLine(const trelRunState& state);
std::string FormatProgressJson(const trelRunState& state);

#endif
