#include <gtest/gtest.h>

#include <cmath>

#include "testTools.h"
#include "trelFilter.h"
#include "trelPaths.h"
#include "trelText.h"

class ProbeFilter : public trelFilter
{
  trelTypeMacro(ProbeFilter, trelFilter)

public:
  bool Execute() override { return true; }
  void Fail() { ErrorMacro("it is " << 42); }
};

TEST(Report, HasTheFormThatScriptsMatch)
{
  ProbeFilter filter;
  std::ostringstream address;
  address << static_cast<const void*>(&filter);
  const std::string report = ReportsOf([&] { filter.Fail(); });
  EXPECT_EQ(report.find("ERROR: In ..\\..\\src\\frameworkTest, line "), 0u) << report;
  EXPECT_NE(report.find("\nProbeFilter (" + address.str() + "): it is 42\n\n"), std::string::npos)
      << report;
}

TEST(Paths, ResolveAgainstTheParameterFile)
{
  const TemporaryDirectory directory;
  const std::string elsewhere = directory.PathOf("skin.off");
  std::ofstream(elsewhere) << "x";
  SetParameterDirectory("/data/models\\head.trl");
  const std::string cases[][2] = {{"skin.off", "/data/models/skin.off"},
                                  {"meshes\\..\\skin.off", "/data/models/skin.off"},
                                  {"/skin.off", "/data/models/skin.off"},
                                  {elsewhere, elsewhere},
                                  {"c:\\skin.off", "c:\\skin.off"}};
  for (const auto& [path, full] : cases) {
    std::string resolved = path;
    ResolvePath(resolved);
    EXPECT_EQ(resolved, full) << path;
  }
  std::string empty;
  EXPECT_EQ(ReportsOf([&] { ResolvePath(empty); }), "File path is null!");
}

TEST(Text, NumbersStandAtTheStartOfAToken)
{
  const double inf = HUGE_VAL;
  const std::string zeros = "0." + std::string(400, '0');
  const struct
  {
    std::string Token;
    double Decimal, Library, LibraryFloat;
    std::int32_t Integer;
  } cases[] = {{"+1.5x", 1.5, 1.5, 1.5f, 1},
               {"-7,5", -7, -7, -7, -7},
               {"+-5", 0, 0, 0, 0},
               {"--5", 0, 0, 0, 0},
               {"-INF", -inf, -inf, -inf, 0},
               {"0x1.8p3", 0, 12, 12, 0},
               {"-0xg", 0, 0, 0, 0},
               {"0xinf", 0, 0, 0, 0},
               {"\f4", 0, 4, 4, 4},
               {"-4294967296", -4294967296.0, -4294967296.0, -4294967296.0f, INT32_MIN},
               {"99999999999999999999", 1e20, 1e20, 1e20f, INT32_MAX},
               {"1e39", 1e39, 1e39, inf, 1},
               {"1e-46", 1e-46, 1e-46, 0, 1},
               {"-1e400", -inf, -inf, -inf, -1},
               {zeros + "1e300", 1e-101, 1e-101, 0, 0},
               {zeros + "1", 0, 0, 0, 0},
               {"1e-99999999999", 0, 0, 0, 1}};
  for (const auto& c : cases) {
    double decimal = 1, library = 1;
    float libraryFloat = 1;
    ReadReal(c.Token, DecimalNumbers, decimal);
    ReadReal(c.Token, LibraryNumbers, library);
    ReadReal(c.Token, LibraryNumbers, libraryFloat);
    EXPECT_EQ(decimal, c.Decimal) << c.Token;
    EXPECT_EQ(library, c.Library) << c.Token;
    EXPECT_EQ(libraryFloat, c.LibraryFloat) << c.Token;
    EXPECT_EQ(ReadInteger(c.Token, LibraryNumbers), c.Integer) << c.Token;
  }
}
