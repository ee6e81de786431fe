#ifndef trelrunJson_h
#define trelrunJson_h

#include <string>

class trelModelCheck;

/** A check as JSON, for other programs: the model as it was read, and the findings. */
std::string FormatCheckJson(const trelModelCheck& check);

#endif
