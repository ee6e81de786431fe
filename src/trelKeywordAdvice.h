#ifndef trelKeywordAdvice_h
#define trelKeywordAdvice_h

#include <string>
#include <vector>

class trelReadState;

/** The parts of a parameter file. */
enum trelFilePart
{
  PartHeader = 1,
  PartProperties = 2,
  PartWavelengths = 4,
  PartModel2D = 8,
  PartModel3D = 16
};

/** A keyword as a table has it. */
struct trelKnownKeyword
{
  std::string Word;
  int Parts;  ///< the trelFileParts that have it, added up
  int Needs;  ///< the smallest number of words on its line, the keyword among them
};

/** Appends the keywords that a row of a table has, whose words are separated by blanks. */
void AppendKeywords(const char* words, trelFilePart part, int needs,
                    std::vector<trelKnownKeyword>& keywords);

/**
 * Tells of the current line, whose keyword has no place in @p part: that it is misspelt, too short,
 * or belongs to another part of the file. @p keywords are those of all parts.
 */
void ExplainKeyword(trelReadState& state, trelFilePart part,
                    const std::vector<trelKnownKeyword>& keywords);

#endif
