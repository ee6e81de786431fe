#ifndef trelSourceProperty_h
#define trelSourceProperty_h

#include <string>

#include "trelModelTypes.h"

class trelLightSource;
class trelParameterText;
class trelReadState;

/**
 * @file trelSourceProperty.h
 * The line "lightsourceproperty": words in any order that say what kind of light a source gives and
 * where it is.
 */

/**
 * Applies the words behind the keyword to @p source; of two words for one setting the later one is
 * taken, and words without a meaning are passed over.
 * @return what the imaging mode @p mode does not admit, empty if nothing
 */
std::string ReadSourceProperty(const trelParameterText& text, SimulationType mode,
                               trelLightSource& source);

/** Tells of words without a meaning, up to a comment; they are passed over. */
void ExplainSourceWords(trelReadState& state);

#endif
