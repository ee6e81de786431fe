#ifndef trelMeshText_h
#define trelMeshText_h

#include <cstdint>
#include <cstdio>
#include <vector>

/**
 * @file trelMeshText.h
 * The words and numbers of mesh files. Conversions stop quietly at the first unusable character, as
 * those of the C library do.
 */

/**
 * Cuts @p line into tokens, maximal runs of characters other than blank, tab, carriage return and
 * line feed. The tokens point into the line.
 */
void SplitTokens(char* line, std::vector<char*>& tokens);

/** Whether two words are equal but for the case of their letters. */
bool EqualWords(const char* a, const char* b);

/** The integer at the start of @p token, kept within 32 bits. */
std::int64_t IntegerOf(const char* token);
/** The decimal number at the start of @p token without its decimals; -1 if it is no number or not
 * within 32 bits. */
std::int64_t TruncatedNumberOf(const char* token);
/** The coordinate at the start of @p token. */
float FloatOf(const char* token);

/** The size of @p file in bytes, 0 if it has none; the position goes to the start. */
std::int64_t MeasureFile(std::FILE* file);

#endif
