#ifndef trelText_h
#define trelText_h

#include <cstdint>
#include <string_view>
#include <vector>

/**
 * @file trelText.h
 * Words and numbers of text files, read alike in every locale: letters are those of ASCII, the
 * decimal sign is a point.
 */

/** Whether two words are equal but for the case of their letters. */
bool EqualWords(std::string_view a, std::string_view b);

/** Whether @p text ends with @p ending in any letter case. */
bool EndsWithWord(std::string_view text, std::string_view ending);

/**
 * Cuts @p line into tokens, maximal runs of characters other than blank, tab, carriage return and
 * line feed. The tokens point into the line.
 */
void SplitTokens(std::string_view line, std::vector<std::string_view>& tokens);

/** What counts as a number at the start of a token; what follows it is not looked at. */
enum trelNumberForm
{
  /** A sign, decimal digits, for reals an exponent, "inf" or "nan". */
  DecimalNumbers,
  /** As the C library reads: form feeds and vertical tabs may stand in front, and reals may be
   *  hexadecimal behind "0x". */
  LibraryNumbers
};

/** The decimal integer at the start of @p token: 0 without one, the nearest 32-bit number if out of
 * range. */
std::int32_t ReadInteger(std::string_view token, trelNumberForm form);

/**
 * Puts the float or double nearest to the number at the start of @p token into @p value, an
 * infinity if it is too large. False, and @p value 0, if there is none; "nan" is one.
 */
template <class Real>
bool ReadReal(std::string_view token, trelNumberForm form, Real& value);

#endif
