#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "trelFilter.h"
#include "trelList.h"
#include "trelPaths.h"
#include "trelReader.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/** Counts its runs and tells of its death. */
class ProbeFilter : public trelFilter
{
  trelTypeMacro(ProbeFilter, trelFilter)

public:
  explicit ProbeFilter(int* deaths) : Deaths(deaths) {}
  ~ProbeFilter() override { ++*Deaths; }
  bool Execute() override { return ++Runs; }
  void Fail() { ErrorMacro("it is " << 42); }

  int Runs = 0;

private:
  int* Deaths;
};

TEST(Object, LivesByItsReferenceCount)
{
  int deaths = 0;
  auto* held = new ProbeFilter(&deaths);
  held->Register();
  held->Delete();
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(held->GetReferenceCount(), 1);
  held->UnRegister();
  EXPECT_EQ(deaths, 1);
  (new ProbeFilter(&deaths))->Delete();
  EXPECT_EQ(deaths, 2);
  (new ProbeFilter(&deaths))->UnRegister();
  EXPECT_EQ(deaths, 3) << "UnRegister of a fresh object destroys it";
}

TEST(Object, ReplacesAReferenceOnlyByAnotherObject)
{
  int deaths = 0;
  ProbeFilter* held = nullptr;
  auto* first = new ProbeFilter(&deaths);
  ReplaceReference(held, first);
  ReplaceReference(held, first);
  ReplaceReference<ProbeFilter>(held, nullptr);
  EXPECT_EQ(held, first);
  EXPECT_EQ(first->GetReferenceCount(), 1);
  ReplaceReference(held, new ProbeFilter(&deaths));
  EXPECT_EQ(deaths, 1);
  ReleaseReference(held);
  EXPECT_EQ(deaths, 2);
}

TEST(Object, KnowsItsNameAndBases)
{
  const trelFilter filter;
  EXPECT_STREQ(filter.GetClassName(), "trelFilter");
  for (const char* name : {"trelFilter", "trelProcessObject", "trelObject"}) {
    EXPECT_TRUE(filter.IsA(name)) << name;
  }
  EXPECT_FALSE(filter.IsA("trelSource"));
  EXPECT_FALSE(filter.IsA(nullptr));
}

TEST(Object, NotifiesItsDependentsAndLetsThemGo)
{
  int deaths = 0;
  auto* dependent = new ProbeFilter(&deaths);
  {
    trelFilter stage;
    stage.NotifyDependents();
    stage.AddDependent(dependent);
    stage.NotifyDependents();
    stage.NotifyDependents();
    EXPECT_EQ(dependent->Runs, 2);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(Report, HasTheFormThatScriptsMatch)
{
  int deaths = 0;
  ProbeFilter filter(&deaths);
  std::ostringstream address;
  address << static_cast<const void*>(&filter);
  CaptureStderr();
  filter.Fail();
  const std::string report = GetCapturedStderr();
  EXPECT_EQ(report.find("ERROR: In ..\\..\\src\\frameworkTest, line "), 0u) << report;
  EXPECT_NE(report.find("\nProbeFilter (" + address.str() + "): it is 42\n\n"), std::string::npos)
      << report;
}

TEST(Report, DestructorsReportFromTheMostDerivedDownWhenDebugIsOn)
{
  auto* reader = new trelReader;
  reader->DebugOn();
  CaptureStderr();
  reader->Delete();
  const std::string report = GetCapturedStderr();
  std::size_t from = 0;
  for (const char* name : {"trelReader", "trelSource", "trelProcessObject", "trelObject"}) {
    const std::string line = std::string("\n") + name + " (";
    const std::size_t at = report.find(line, from);
    ASSERT_NE(at, std::string::npos) << name << " missing in\n" << report;
    EXPECT_NE(report.find(std::string("Destructing ") + name + "!\n\n", at), std::string::npos);
    from = at;
  }
}

TEST(List, GivesItemsByIndexAndInTurn)
{
  int items[3] = {1, 2, 3};
  trelList list;
  EXPECT_EQ(list.GetItem(0), nullptr);
  list.Append(&items[0]);
  list.Append(&items[1]);
  list.InitTraversal();
  EXPECT_EQ(list.GetNextItem(), &items[0]);
  list.Append(&items[2]);
  EXPECT_EQ(list.GetNextItem(), &items[1]);
  EXPECT_EQ(list.GetNextItem(), &items[2]);
  EXPECT_EQ(list.GetNextItem(), nullptr);
  EXPECT_EQ(list.GetItem(1), &items[1]);
  EXPECT_EQ(list.GetItem(2), &items[2]);
  EXPECT_EQ(list.GetItem(3), nullptr);
  EXPECT_EQ(list.GetItem(-1), nullptr);
  list.Clear();
  EXPECT_EQ(list.GetNumberOfItems(), 0);
  EXPECT_EQ(list.GetNextItem(), nullptr);
}

TEST(Paths, ResolveAgainstTheParameterFile)
{
  EXPECT_TRUE(IsAbsolutePath("c:"));
  EXPECT_FALSE(IsAbsolutePath("/tmp"));
  EXPECT_FALSE(IsAbsolutePath(""));
  SetParameterDirectory("/data/models\\head.trl");
  const std::filesystem::path elsewhere = std::filesystem::temp_directory_path() / "trel-path-test";
  std::ofstream(elsewhere) << "x";
  const struct
  {
    std::string path, full;
  } cases[] = {{"skin.off", "/data/models/skin.off"},
               {"meshes\\..\\skin.off", "/data/models/skin.off"},
               {"/skin.off", "/data/models/skin.off"},
               {elsewhere.string(), elsewhere.string()},
               {"c:\\skin.off", "c:\\skin.off"}};
  for (const auto& c : cases) {
    std::string path = c.path;
    ResolvePath(path);
    EXPECT_EQ(path, c.full) << c.path;
  }
  CaptureStderr();
  std::string empty;
  ResolvePath(empty);
  EXPECT_EQ(GetCapturedStderr(), "File path is null!");
  std::filesystem::remove(elsewhere);
}
