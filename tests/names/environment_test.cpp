#include "names/environment.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class EnvironmentTest : public RunTest {
 protected:
  void UseFile(std::string_view text) {
    run.names.iniFileName.Assign(scratch.Write("t.ini", text));
  }
  // The value, or "(none)".
  std::string Value(const char* name) {
    const char* value = GetEnvironmentValue(run, name);
    return value == nullptr ? "(none)" : value;
  }
};

using GetEnvironmentValueTest = EnvironmentTest;
using FirstEnvironmentValueTest = EnvironmentTest;

TEST_F(GetEnvironmentValueTest, IsTheProcessEnvironmentsWithoutAFile) {
  environment.Set("KVR_PATH", "/x");
  EXPECT_EQ(Value("KVR_PATH"), "/x");
  EXPECT_EQ(Value("KVR_FNC"), "(none)");
}

TEST_F(GetEnvironmentValueTest, TakesTheProcessEnvironmentsNamesInTheirCase) {
  environment.Set("KVR_PATH", "/x");
  EXPECT_EQ(Value("kvr_path"), "(none)");
}

TEST_F(GetEnvironmentValueTest, TakesTheFileBeforeTheProcessEnvironment) {
  environment.Set("KVR_PATH", "/x");
  UseFile("[ Environment ]\nKVR_PATH = /a:/b\n");
  EXPECT_EQ(Value("KVR_PATH"), "/a:/b");
}

TEST_F(GetEnvironmentValueTest, TakesTheFilesNamesInAnyCase) {
  UseFile("[ Environment ]\nKVR_PATH = /a:/b\n");
  EXPECT_EQ(Value("kvr_path"), "/a:/b");
}

TEST_F(GetEnvironmentValueTest, TakesAnEmptyEntryForNoEntry) {
  environment.Set("KVR_PATH", "/x");
  UseFile("[environment]\nKVR_PATH=\n");
  EXPECT_EQ(Value("KVR_PATH"), "/x");
}

TEST_F(GetEnvironmentValueTest, FallsBackWhenTheEntryIsMissing) {
  environment.Set("KVR_PATH", "/x");
  UseFile("[environment]\nKVR_FNC=lower\n");
  EXPECT_EQ(Value("KVR_PATH"), "/x");
}

TEST_F(GetEnvironmentValueTest, FallsBackWhenTheSectionIsMissing) {
  environment.Set("KVR_PATH", "/x");
  UseFile("[other]\nKVR_PATH=/a\n");
  EXPECT_EQ(Value("KVR_PATH"), "/x");
}

TEST_F(GetEnvironmentValueTest, FallsBackWhenTheFileCannotBeRead) {
  environment.Set("KVR_PATH", "/x");
  run.names.iniFileName.Assign(scratch.Path("none.ini"));
  EXPECT_EQ(Value("KVR_PATH"), "/x");
}

TEST_F(GetEnvironmentValueTest, TakesAnEmptyVariableForNoValue) {
  environment.Set("TMPDIR", "");
  EXPECT_EQ(Value("TMPDIR"), "(none)");
}

TEST_F(GetEnvironmentValueTest, ReadsTheFileAnewForEveryLookup) {
  UseFile("[environment]\nDBC=/one\n");
  EXPECT_EQ(Value("DBC"), "/one");
  UseFile("[environment]\nDBC=/two\n");
  EXPECT_EQ(Value("DBC"), "/two");
}

TEST_F(GetEnvironmentValueTest, HoldsTheLongestValueOfALine) {
  const std::string longest(895, 'v');  // 900 bytes with "DBC=" and the line feed
  UseFile("[environment]\nDBC=" + longest + "\n");
  EXPECT_EQ(Value("DBC"), longest);
}

TEST_F(GetEnvironmentValueTest, PassesTheFilesNameThroughLastOpenPath) {
  UseFile("[environment]\nDBC=/one\n");
  Value("DBC");
  EXPECT_EQ(run.files.lastOpenPath.View(), scratch.Path("t.ini"));
}

TEST_F(FirstEnvironmentValueTest, TakesTheFirstThatHasAValue) {
  environment.Set("TAVDB_DBPATH", "/second");
  environment.Set("DBPATH", "/third");
  EXPECT_STREQ(FirstEnvironmentValue(run, {"KVR_PATH", "TAVDB_DBPATH", "DBPATH"}), "/second");
  environment.Set("KVR_PATH", "/first");
  EXPECT_STREQ(FirstEnvironmentValue(run, {"KVR_PATH", "TAVDB_DBPATH", "DBPATH"}), "/first");
}

TEST_F(FirstEnvironmentValueTest, IsNothingWhenNoneHasAValue) {
  environment.Set("KVR_PATH", "");
  EXPECT_EQ(FirstEnvironmentValue(run, {"KVR_PATH", "DBPATH"}), nullptr);
}

}  // namespace
}  // namespace tavindex::test
