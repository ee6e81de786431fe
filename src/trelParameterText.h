#ifndef trelParameterText_h
#define trelParameterText_h

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/** What is expected where a number is read. */
enum trelNumberKind
{
  WholeNumber,
  RealNumber
};

/**
 * @class   trelParameterText
 * @brief   the open parameter file: its current line, cut into tokens
 *
 * Blanks, tabs, carriage returns and line feeds separate tokens; there are no quotes but in paths.
 * A line is what one read gives, at most 254 characters: a longer one counts as several. A
 * character of code 0 ends its line, so that binary files are read to their end like any other.
 * Words and numbers are those of trelText.h: neither letter case nor the locale matters.
 */
class trelParameterText
{
public:
  trelParameterText() = default;
  ~trelParameterText() { Close(); }
  trelParameterText(const trelParameterText&) = delete;
  trelParameterText& operator=(const trelParameterText&) = delete;

  /** Opens the file @p name in the place of the former one; false if it is no file that can be
   * read. */
  bool Open(const char* name);
  void Close();
  bool IsOpen() const { return File != nullptr; }
  /** Goes back to the start; false for what has none, a pipe for instance. */
  bool Rewind();

  /** Takes the next line whatever it holds; false at the end of the file. */
  bool TakeLine();
  /** Takes the next line with tokens, the first of which does not begin with '#'. */
  bool TakeStatement();

  /** The number of the current line in the file, from 1. Pieces of a long line have the same. */
  int GetLineNumber() const { return LineNumber; }

  /** Of the current line; 0 at the start and at the end of the file. */
  int GetNumberOfTokens() const { return static_cast<int>(Tokens.size()); }
  /** Token @p i, from 0; empty if there is none. It counts as read then, and so do those ahead. */
  std::string_view GetToken(int i) const;
  /** How many tokens of the current line count as read, from the first on. */
  int GetNumberRead() const { return NumberRead; }
  /** Counts all as read. */
  void PassRest() const { NumberRead = GetNumberOfTokens(); }
  /** True if token @p i is one of @p words, which are separated by single blanks. */
  bool IsOneOf(int i, std::string_view words) const;

  /** The decimal integer at the start of token @p i: 0 without one, the nearest 32-bit number if
   * huge. */
  std::int32_t GetInteger(int i) const;
  /** Calls @p take with the number of each token that is read as a number and is more than one, or
   *  none. */
  void WatchNumbers(std::function<void(int token, trelNumberKind kind)> take)
  {
    TakeOddNumber = std::move(take);
  }

  /** True if token @p i starts with a number, infinities among them; "nan" is not one. */
  bool HasNumber(int i) const;
  /** The real number at the start of token @p i: 0 without one, and for "nan". Huge ones are
   * infinite. */
  double GetReal(int i) const;
  /** GetReal() truncated toward zero; the nearest unsigned 32-bit number if out of range. */
  std::uint32_t GetTruncated(int i) const;
  static constexpr double LargestTruncated = 4294967295.0;

  /**
   * "KEYWORD: got NUMBER, which is read as ..." of the first number so far that has a comma between
   * two digits, where reading it ends; empty if there is none.
   */
  const std::string& GetCommaNote() const { return CommaNote; }

  /**
   * The path on this line: the text between the first two double quotes, or token 1 if there is no
   * quote. False if there is no token 1 or no second quote.
   */
  bool GetPath(std::string& path) const;

private:
  void NoteComma(int i) const;
  void NoteOddNumber(int i, trelNumberKind kind) const;

  std::FILE* File = nullptr;
  char LineBuffer[255] = "";
  int LineNumber = 0;
  /** Whether the next line begins behind a line end. */
  bool AtLineStart = true;
  /** Views into LineBuffer, which stays as it was read. */
  std::vector<std::string_view> Tokens;
  /** Written when a token is read. */
  mutable int NumberRead = 0;
  /** Written when a number is read. */
  mutable std::string CommaNote;
  std::function<void(int token, trelNumberKind kind)> TakeOddNumber;
};

/** A value and the words for it, separated by blanks. */
template <class Value>
struct trelWord
{
  const char* Words;
  Value Meaning;
};

/** The value that token @p i names; null if @p words knows no such word. */
template <class Value, std::size_t N>
const Value* FindWord(const trelParameterText& text, int i, const trelWord<Value> (&words)[N])
{
  for (const trelWord<Value>& word : words) {
    if (text.IsOneOf(i, word.Words)) return &word.Meaning;
  }
  return nullptr;
}

/** Appends @p words, which are separated by blanks, to @p list. */
void AppendWords(const char* words, std::vector<std::string>& list);

#endif
