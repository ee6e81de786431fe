// The random numbers of packets: each stream is sound, and no two know of each other.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "trelPacketNumbers.h"

static constexpr int count = 200000;

/** Numbers of many streams: the @p skip + 1st of each. */
static std::vector<double> Draw(const std::function<trelPacketNumbers(std::uint64_t)>& start,
                                int skip)
{
  std::vector<double> numbers;
  for (std::uint64_t i = 0; i < count; ++i) {
    trelPacketNumbers stream = start(i);
    for (int k = 0; k < skip; ++k)
      stream.NextRandom();
    numbers.push_back(stream.NextRandom());
  }
  return numbers;
}

/** Pearson's sum over cells of equal chance, as standard deviations from its mean. */
static double FindDeviation(const std::vector<double>& cells)
{
  double all = 0.0, sum = 0.0;
  for (const double n : cells)
    all += n;
  const double expected = all / static_cast<double>(cells.size());
  for (const double n : cells)
    sum += (n - expected) * (n - expected) / expected;
  const auto freedom = static_cast<double>(cells.size() - 1);
  return (sum - freedom) / std::sqrt(2.0 * freedom);
}

/** Of pairs of numbers in a square of 32 x 32 cells: their upper bits, or with @p scale lower ones.
 */
static double FindDeviationOfPairs(const std::vector<double>& x, const std::vector<double>& y,
                                   double scale)
{
  constexpr int side = 32;
  const auto cell = [&](double u) {
    const double scaled = u * scale;
    return static_cast<std::size_t>((scaled - std::floor(scaled)) * side);
  };
  std::vector<double> cells(side * side);
  for (std::size_t i = 0; i < x.size(); ++i)
    ++cells[cell(x[i]) * side + cell(y[i])];
  return FindDeviation(cells);
}

static trelPacketNumbers Start(std::uint64_t seed, std::uint64_t entry, std::uint64_t number)
{
  trelPacketNumbers stream;
  stream.Start(seed, entry, number);
  return stream;
}

/** Neighbours in whatever a stream is made of, whose keys differ by a bit or by a carry. */
TEST(PacketStreams, NeighboursKnowNothingOfEachOther)
{
  const auto packet = [](std::uint64_t i) { return Start(7, 0, i); };
  const struct
  {
    const char* Name;
    std::function<trelPacketNumbers(std::uint64_t)> Other;
  } others[] = {
      {"itself, later",
       [](std::uint64_t i) {
         auto s = Start(7, 0, i);
         s.NextRandom();
         return s;
       }},
      {"next packet", [](std::uint64_t i) { return Start(7, 0, i + 1); }},
      {"packet beyond 32 bits", [](std::uint64_t i) { return Start(7, 0, i + (1ull << 32)); }},
      {"packet of the last bit", [](std::uint64_t i) { return Start(7, 0, i ^ (1ull << 63)); }},
      {"next seed", [](std::uint64_t i) { return Start(8, 0, i); }},
      {"seed as packet", [](std::uint64_t i) { return Start(i, 0, 7); }},
      {"next spectrum", [](std::uint64_t i) { return Start(7, 1, i); }},
      {"next source", [](std::uint64_t i) { return Start(7, 1ull << 32, i); }},
      {"spectrum as packet", [](std::uint64_t i) { return Start(7, i, 0); }},
      {"first emission", [](std::uint64_t i) { return Start(7, 0, i).Branch(); }},
      {"second emission",
       [](std::uint64_t i) {
         auto s = Start(7, 0, i);
         s.Branch();
         return s.Branch();
       }},
      {"emission of an emission", [](std::uint64_t i) { return Start(7, 0, i).Branch().Branch(); }},
      {"emission of the next", [](std::uint64_t i) { return Start(7, 0, i + 1).Branch(); }}};
  for (const int skip : {0, 1, 40}) {
    const std::vector<double> own = Draw(packet, skip);
    for (const auto& other : others) {
      const std::vector<double> numbers = Draw(other.Other, skip);
      for (const double scale : {1.0, 0x1.0p20, 0x1.0p44})
        EXPECT_LT(std::fabs(FindDeviationOfPairs(own, numbers, scale)), 5.0)
            << other.Name << ", number " << skip << ", digits from " << scale;
    }
  }
}

/** Emission packets of one packet. */
TEST(PacketStreams, EmissionsKnowNothingOfEachOther)
{
  const auto first = [](std::uint64_t i) { return Start(7, 0, i).Branch(); };
  const auto second = [](std::uint64_t i) {
    trelPacketNumbers stream = Start(7, 0, i);
    stream.Branch();
    return stream.Branch();
  };
  EXPECT_LT(std::fabs(FindDeviationOfPairs(Draw(first, 0), Draw(second, 0), 1.0)), 5.0);
}

/** Sums of the first numbers of neighbours have the variance of independent ones. */
TEST(PacketStreams, SumsOverPacketsSpreadAsTheyShould)
{
  for (const int skip : {0, 1, 2, 3, 10}) {
    const std::vector<double> numbers = Draw([](std::uint64_t i) { return Start(3, 0, i); }, skip);
    for (const std::size_t block : {2u, 16u, 100u}) {
      double squares = 0.0;
      const std::size_t blocks = numbers.size() / block;
      for (std::size_t b = 0; b < blocks; ++b) {
        double sum = -0.5 * static_cast<double>(block);
        for (std::size_t i = 0; i < block; ++i)
          sum += numbers[b * block + i];
        squares += sum * sum * 12.0 / static_cast<double>(block);
      }
      const auto n = static_cast<double>(blocks);
      EXPECT_LT(std::fabs(squares / n - 1.0), 5.0 * std::sqrt(2.0 / n)) << block << " " << skip;
    }
  }
}
