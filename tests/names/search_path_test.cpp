#include "names/search_path.h"

#include <fcntl.h>

#include <cstring>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class SearchPathTest : public RunTest {
 protected:
  SearchPathTest() : here(scratch.MakeDirectory("here")) {
    scratch.MakeDirectory("a");
    scratch.MakeDirectory("b");
    directory.Assign("unchanged");
  }
  std::size_t Search(std::string_view name, const std::string& list) {
    return SearchPath(name, directory, list);
  }
  std::string A() const { return scratch.Path("a"); }
  std::string B() const { return scratch.Path("b"); }

  CurrentDirectory here;
  PathText directory;
};

TEST_F(SearchPathTest, FindsTheFirstElementThatHoldsTheName) {
  scratch.Write("a/other", "");
  scratch.Write("b/cust.TXT", "");
  EXPECT_EQ(Search("cust.TXT", A() + ":" + B()), B().size() + 1);
  EXPECT_EQ(directory.View(), B() + "/");
  scratch.Write("a/cust.TXT", "");
  EXPECT_EQ(Search("cust.TXT", A() + ":" + B()), A().size() + 1);
  EXPECT_EQ(directory.View(), A() + "/");
}

TEST_F(SearchPathTest, LooksNowhereForANameWithASlash) {
  scratch.MakeDirectory("a/sub");
  scratch.Write("a/sub/cust", "");
  EXPECT_EQ(Search("sub/cust", A()), 0U);
  EXPECT_EQ(directory.View(), "unchanged");
}

TEST_F(SearchPathTest, PrefersTheCurrentDirectory) {
  scratch.Write("here/cust", "");
  scratch.Write("a/cust", "");
  EXPECT_EQ(Search("cust", A()), 0U);
  EXPECT_EQ(directory.View(), "unchanged");
}

TEST_F(SearchPathTest, SkipsEmptyElements) {
  scratch.Write("a/cust", "");
  EXPECT_EQ(Search("cust", "::" + A() + "::"), A().size() + 1);
  EXPECT_EQ(Search("none", ":::"), 0U);
}

TEST_F(SearchPathTest, KeepsTheDirectoryWhenNoElementHoldsTheName) {
  EXPECT_EQ(Search("cust", A() + ":" + B()), 0U);
  EXPECT_EQ(directory.View(), "unchanged");
}

TEST_F(SearchPathTest, PassesOverFilesThatCannotBeWritten) {
  scratch.Write("here/cust", "");
  scratch.Write("a/cust", "");
  scratch.Write("b/cust", "");
  const std::string readOnly = A() + "/cust";
  calls.Replace<&SystemCalls::open>([&](const char* path, int flags, mode_t mode) {
    const bool refused =
        (std::strcmp(path, "cust") == 0 || path == readOnly) && (flags & O_ACCMODE) != O_RDONLY;
    if (!refused) return calls.Original().open(path, flags, mode);
    errno = EACCES;
    return -1;
  });
  EXPECT_EQ(Search("cust", A() + ":" + B()), B().size() + 1);
  EXPECT_EQ(directory.View(), B() + "/");
}

TEST_F(SearchPathTest, PassesOverADirectoryOfTheName) {
  scratch.MakeDirectory("a/cust");
  scratch.Write("b/cust", "");
  EXPECT_EQ(Search("cust", A() + ":" + B()), B().size() + 1);
}

TEST_F(SearchPathTest, ClosesWhatItOpened) {
  scratch.Write("a/cust", "");
  calls.Watch<&SystemCalls::close>();
  Search("cust", A());
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
}

}  // namespace
}  // namespace tavindex::test
