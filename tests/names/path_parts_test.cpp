#include "names/path_parts.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class PathPartsTest : public RunTest {
 protected:
  void ExpectSplit(std::string_view path, std::string_view directory, std::string_view base,
                   std::string_view extension) {
    parts.drive.Assign("X:");
    SplitPath(path, parts);
    EXPECT_EQ(parts.drive.View(), "") << path;
    EXPECT_EQ(parts.directory.View(), directory) << path;
    EXPECT_EQ(parts.base.View(), base) << path;
    EXPECT_EQ(parts.extension.View(), extension) << path;
  }

  FileNameParts parts;
  PathText joined;
};

using SplitPathTest = PathPartsTest;
using MakePathTest = PathPartsTest;

TEST_F(SplitPathTest, TakesTheDirectoryThroughTheLastSlash) {
  ExpectSplit("/srv/d/CUST.TXT", "/srv/d/", "CUST", ".TXT");
  ExpectSplit("/CUST", "/", "CUST", "");
  ExpectSplit("d/", "d/", "", "");
}

TEST_F(SplitPathTest, TakesTheExtensionFromTheLastDot) {
  ExpectSplit("a.b.c", "", "a.b", ".c");
  ExpectSplit("name.", "", "name", ".");
  ExpectSplit(".hidden", "", "", ".hidden");
}

TEST_F(SplitPathTest, LooksForTheDotInTheLastComponentOnly) {
  ExpectSplit("v1.0/CUST", "v1.0/", "CUST", "");
}

TEST_F(SplitPathTest, ClearsEverythingForAnEmptyPath) { ExpectSplit("", "", "", ""); }

TEST_F(SplitPathTest, CutsNothing) {
  const std::string base(100, 'b');
  ExpectSplit(base + ".backup_of_today", "", base, ".backup_of_today");
}

TEST_F(MakePathTest, JoinsThePartsInOrder) {
  parts.drive.Assign("D:");
  parts.directory.Assign("/Data/");
  parts.base.Assign("Cust");
  parts.extension.Assign(".TXT");
  EXPECT_TRUE(MakePath(run, parts, joined));
  EXPECT_EQ(joined.View(), "D:/Data/Cust.TXT");
}

TEST_F(MakePathTest, LowersTheWholeResult) {
  run.names.lowerCaseNames = true;
  SplitPath("/Data/Cust.TXT", parts);
  EXPECT_TRUE(MakePath(run, parts, joined));
  EXPECT_EQ(joined.View(), "/data/cust.txt");
}

TEST_F(MakePathTest, TellsWhenTheResultDoesNotFit) {
  parts.directory.Assign(std::string(4600, 'd'));
  parts.base.Assign("12345678");
  EXPECT_FALSE(MakePath(run, parts, joined));
}

}  // namespace
}  // namespace tavindex::test
