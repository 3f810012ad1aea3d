// Rewriting the stored command line when an ISI is copied to a new name.

#include "compact/stored_line.h"

#include <gtest/gtest.h>

#include <string>

#include "program_test.h"

namespace tavindex::test {
namespace {

struct Rewrite {
  const char* current;
  const char* stored;
  Result result;
  const char* rewritten;
};

constexpr Rewrite kRewrites[] = {
    {"t,new -c", "t -1-3", kOk, "t,new -1-3"},
    {"a,new -c", "a,b,l4 -1-3,4", kOk, "a,new,l4 -1-3,4"},
    {"t,new -c", "t,,l4 -1", kOk, "t,new,l4 -1"},
    // Commas behind the dash separate key specifications.
    {"t,new -c", "t -1-3,4,5", kOk, "t,new -1-3,4,5"},
    {"t,new -c", "t -p11=\"a,b\",1-3", kOk, "t,new -p11=\"a,b\",1-3"},
    {"t,new -c", "t;1-3,4", kOk, "t,new;1-3,4"},
    {"t,new -c", "t,old;1-3,4", kOk, "t,new;1-3,4"},
    // The work directory and the record length stay; so does a dash inside a name.
    {"t,new -c", "t,old,l4,/tmp/a-b -u1", kOk, "t,new,l4,/tmp/a-b -u1"},
    {"t,new -c", "t,old,,/tmp/a -u1", kOk, "t,new,,/tmp/a -u1"},
    {"t,new -c", "my-data,my-isi -1", kOk, "my-data,new -1"},
    {"my-old,my-new -c", "t,old -1", kOk, "t,my-new -1"},
    // Blanks separate fields as commas do, and stand around them.
    {"t,new -c", "t old -1", kOk, "t new -1"},
    {"t new -c", "t,old -1", kOk, "t,new -1"},
    {"t,  new   -c", "t , old -1", kOk, "t , new -1"},
    {"t,new,l4 -c", "t,old -1", kOk, "t,new -1"},
    // Quoted names keep their quotes; what stands in them separates nothing.
    {"t,\"new one\" -c", "t,old -1", kOk, "t,\"new one\" -1"},
    {"t,new -c", "\"a, b\",\"c, d\",l4 -1", kOk, "\"a, b\",new,l4 -1"},
    {"t,new -c", "\"a, b\" -1", kOk, "\"a, b\",new -1"},
    {"t,new -c", "", kBadStoredLine, ""},
    {"t,new -c", "t", kBadStoredLine, "t"},
    {"t,new -c", "t,old", kBadStoredLine, "t,old"},
    {"t,new -c", "t,old,l4", kBadStoredLine, "t,old,l4"},
    {"t,new -c", "\"t,old -1", kBadStoredLine, "\"t,old -1"},
    {"t,new -c", "t|u,old -1", kBadStoredLine, "t|u,old -1"},
    {"t -c", "t,old -1", kBadCompactLine, "t,old -1"},
    {"t, -c", "t,old -1", kBadCompactLine, "t,old -1"},
    {"t,,l4 -c", "t,old -1", kBadCompactLine, "t,old -1"},
};

TEST(RewriteStoredLine, Table) {
  for (const Rewrite& c : kRewrites) {
    StoredLine line;
    line.Assign(c.stored);
    EXPECT_EQ(RewriteStoredLine(c.current, line), c.result) << c.current << " | " << c.stored;
    EXPECT_EQ(line.View(), c.rewritten) << c.current << " | " << c.stored;
  }
}

TEST(RewriteStoredLine, LimitOf527Characters) {
  const std::string stored = "t,old -p11=" + std::string(516, 'x');
  ASSERT_EQ(stored.size(), 527U);
  StoredLine line;
  line.Assign(stored);
  EXPECT_EQ(RewriteStoredLine("t,new -c", line), kOk);
  EXPECT_EQ(line.View(), "t,new" + stored.substr(5));
  EXPECT_EQ(RewriteStoredLine("t,news -c", line), kNewLineTooLong);
  EXPECT_EQ(line.View(), "t,new" + stored.substr(5));
  EXPECT_EQ(RewriteStoredLine("t,ne -c", line), kOk);
  EXPECT_EQ(line.Size(), 526U);
}

// The same through whole runs: what is refused comes before anything is written, and says so.
class StoredLineRun : public ProgramTest {
 protected:
  void Make(const std::string& commandLine) {
    WriteBytes("old.ISI", MakeTree({.entries = 3, .commandLine = commandLine}).image);
    scratch.Write("data.TXT", "");
  }
  std::string StoredIn(const std::string& name) const {
    return scratch.Read(name).substr(496, 528).c_str();
  }
};

TEST_F(StoredLineRun, ACopyNamesItself) {
  Make("data,old,l4 -1-3,4");
  ASSERT_EQ(Run({"old,dir.ISI", "-c"}).code, kOk);
  EXPECT_EQ(StoredIn("dir.ISI"), "data,dir.ISI,l4 -1-3,4");
}

TEST_F(StoredLineRun, InPlaceTheLineStays) {
  Make("data -1-3,4");
  ASSERT_EQ(Run({"old,old", "-c"}).code, kOk);
  EXPECT_EQ(StoredIn("old.ISI"), "data -1-3,4");
}

TEST_F(StoredLineRun, RefusedBeforeAnythingIsWritten) {
  const std::string longLine = "data,o -p11=" + std::string(515, 'x');
  const std::pair<std::string, std::pair<Result, std::string>> cases[] = {
      {"data,old",
       {kBadStoredLine, "Invalid input ISI command line format found in file named:  old.ISI.\n"}},
      {longLine, {kNewLineTooLong, "New compact command line too long to store in ISI header!\n"}},
  };
  for (const auto& [stored, expected] : cases) {
    Make(stored);
    const std::string before = scratch.Read("old.ISI");
    const Outcome run = Run({"old,new", "-c"});
    EXPECT_EQ(run.code, expected.first);
    EXPECT_EQ(run.text, "Compacting old.ISI into new.ISI\n" + expected.second);
    EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"data.TXT", "old.ISI"}));
    EXPECT_EQ(scratch.Read("old.ISI"), before);
  }
}

}  // namespace
}  // namespace tavindex::test
