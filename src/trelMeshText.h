#ifndef trelMeshText_h
#define trelMeshText_h

#include <cstdint>
#include <cstdio>
#include <string_view>

/**
 * @file trelMeshText.h
 * The numbers of mesh files, which are read as the C library reads them. Conversions stop quietly
 * at the first unusable character.
 */

/** The integer at the start of @p token, kept within 32 bits. */
std::int64_t IntegerOf(std::string_view token);
/** The decimal number at the start of @p token without its decimals; -1 if it is NaN or not within
 * 32 bits. */
std::int64_t TruncatedNumberOf(std::string_view token);
/** The coordinate at the start of @p token. */
float FloatOf(std::string_view token);

/** The size of @p file in bytes, 0 if it has none; the position goes to the start. */
std::int64_t MeasureFile(std::FILE* file);

#endif
