#ifndef trelCheckText_h
#define trelCheckText_h

#include <string>

class trelModelCheck;
class trelModelFindings;

/** The model of a check as a text for people, without its findings. */
std::string FormatCheckText(const trelModelCheck& check);

/**
 * The findings as compilers show them, the line of the file @p name and a mark under the word below
 * each, and what to write:
 *
 *     model.trl:17: error: unknown keyword 'tisueaxis'; did you mean 'tissueaxis'?
 *        17 | tisueaxis 10 10 10
 *           | ^~~~~~~~~
 *           = write tissueaxis
 */
std::string FormatFindings(const trelModelFindings& findings, const std::string& name);

#endif
