#ifndef trelStateArchive_h
#define trelStateArchive_h

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/** Numbers that lie side by side. */
struct trelNumbers
{
  double* First;
  std::size_t Number;
};

inline std::size_t CountNumbers(const std::vector<trelNumbers>& pieces)
{
  std::size_t all = 0;
  for (const trelNumbers& piece : pieces)
    all += piece.Number;
  return all;
}

/** What a file calls the part @p name of a state. */
inline std::string GetStateVariable(const char* name)
{
  return std::string("state_") + name;
}

/**
 * @class   trelStateArchive
 * @brief   where the state of a run goes to, or where it comes from
 *
 * Whoever has a part of the state passes it, name by name, in one function: one archive takes the
 * numbers, another one sets them, so that what is written and what is read cannot differ. Counts
 * are passed as numbers, too, which are exact up to 2^53. Parts are sums, which are added where
 * runs are put together, but for those whose names end in "_by_batch": lists that are joined.
 */
class trelStateArchive
{
public:
  virtual ~trelStateArchive() = default;
  /** Takes or sets the numbers of all @p pieces, one behind the other. What fails is kept by the
   *  archive. */
  virtual void Pass(const char* name, const std::vector<trelNumbers>& pieces) = 0;
  /** Whether @p numbers numbers of this name can be passed: ahead of making room for them. */
  virtual bool Admits(const char* /*name*/, std::size_t /*numbers*/) { return true; }
  /** Whether all that was passed was taken or set. */
  virtual bool IsSound() const = 0;
  void Pass(const char* name, std::vector<double>& numbers)
  {
    Pass(name, {trelNumbers{numbers.data(), numbers.size()}});
  }
  /** A list by batch: of @p batches rows of @p length numbers, that @p rows is made to have. May
   *  throw. */
  void PassRows(const char* name, std::int64_t batches, std::size_t length,
                std::vector<std::vector<double>>& rows)
  {
    if (!Admits(name, static_cast<std::size_t>(batches) * length)) return;
    rows.resize(static_cast<std::size_t>(batches), std::vector<double>(length));
    std::vector<trelNumbers> pieces;
    pieces.reserve(rows.size());
    for (std::vector<double>& row : rows)
      pieces.push_back({row.data(), row.size()});
    Pass(name, pieces);
  }
};

#endif
