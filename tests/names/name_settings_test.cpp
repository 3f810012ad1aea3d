#include "names/name_settings.h"

#include <fcntl.h>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class ReadNameSettingsTest : public RunTest {
 protected:
  // 512: separator; 514: extension length; 515 and 520: extensions with their terminators.
  static std::string Definition(char separator, char length, const std::string& data,
                                const std::string& index) {
    std::string file(512, 'x');
    file += separator;
    file += 'x';
    file += length;
    file += data;
    file.resize(520, 'x');
    return file + index;
  }
  void UseDefinition(const std::string& bytes) {
    scratch.Write("vt.def", bytes);
    environment.Set("KVR_SYSTEM", scratch.Path());
    environment.Set("KVR_TERM", "vt");
  }
  std::string DataExtension() const { return run.names.dataExtension.CStr(); }
  std::string IndexExtension() const { return run.names.indexExtension.CStr(); }
};

TEST_F(ReadNameSettingsTest, HasItsDefaults) {
  run.names.extSeparator = '!';
  run.names.dataExtension.Assign(".OLD");
  run.names.indexExtension.Assign(".OLD");
  run.names.searchPath.Assign("/old");
  run.names.lowerCaseNames = true;
  ReadNameSettings(run);
  EXPECT_EQ(run.names.extSeparator, '.');
  EXPECT_EQ(DataExtension(), ".TXT");
  EXPECT_EQ(IndexExtension(), ".ISI");
  EXPECT_TRUE(run.names.searchPath.Empty());
  EXPECT_FALSE(run.names.lowerCaseNames);
}

TEST_F(ReadNameSettingsTest, SearchPathIsTheFirstOfItsThreeNames) {
  environment.Set("DBPATH", "/third");
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), "/third");
  environment.Set("TAVDB_DBPATH", "/second");
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), "/second");
  environment.Set("KVR_PATH", "/first:/and");
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), "/first:/and");
}

TEST_F(ReadNameSettingsTest, SearchPathIsACopy) {
  scratch.Write("t.ini", "[environment]\nKVR_PATH=/a:/b\nTERM=x\n");
  run.names.iniFileName.Assign(scratch.Path("t.ini"));
  ReadNameSettings(run);  // looks other names up behind the search path
  EXPECT_EQ(run.names.searchPath.View(), "/a:/b");
}

// Names of 8 characters with their colon.
TEST_F(ReadNameSettingsTest, SearchPathKeepsWholeDirectoriesOnly) {
  std::string path;
  for (int i = 0; i < 4095; ++i) path += "/dir/ab:";  // 32760 bytes
  environment.Set("KVR_PATH", path + "/dir/cd");      // as many as there is room for
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), path + "/dir/cd");
  environment.Set("KVR_PATH", path + "/dir/cde");
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), path.substr(0, 32759));
  environment.Set("KVR_PATH", path + "/dir/cd:/ef");
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), path + "/dir/cd");
  environment.Set("KVR_PATH", std::string(32768, 'x'));
  ReadNameSettings(run);
  EXPECT_EQ(run.names.searchPath.View(), "");
}

TEST_F(ReadNameSettingsTest, MixedKeepsTheCase) {
  for (const char* value : {"Mixed", "MIXED", "mixed"}) {
    environment.Set("KVR_FNC", value);
    ReadNameSettings(run);
    EXPECT_FALSE(run.names.lowerCaseNames) << value;
  }
}

TEST_F(ReadNameSettingsTest, AnyOtherValueLowersTheCase) {
  for (const char* value : {"lower", "Mixe", "Mixedx", "UPPER"}) {
    environment.Set("KVR_FNC", value);
    ReadNameSettings(run);
    EXPECT_TRUE(run.names.lowerCaseNames) << value;
  }
}

TEST_F(ReadNameSettingsTest, OlderCaseNameCountsWhenTheNewerHasNoValue) {
  environment.Set("TAVDB_FNC", "lower");
  ReadNameSettings(run);
  EXPECT_TRUE(run.names.lowerCaseNames);
  environment.Set("KVR_FNC", "Mixed");
  ReadNameSettings(run);
  EXPECT_FALSE(run.names.lowerCaseNames);
}

TEST_F(ReadNameSettingsTest, ReadsTheTerminalDefinition) {
  UseDefinition(Definition('/', 3, std::string("DAT\0", 4), std::string("IDX\0", 4)));
  ReadNameSettings(run);
  EXPECT_EQ(run.names.extSeparator, '/');
  EXPECT_EQ(DataExtension(), ".DAT");
  EXPECT_EQ(IndexExtension(), ".IDX");
}

TEST_F(ReadNameSettingsTest, TakesExtensionsOfOneAndOfFourCharacters) {
  UseDefinition(Definition('.', 1, std::string("D\0", 2), std::string("I\0", 2)));
  ReadNameSettings(run);
  EXPECT_EQ(DataExtension(), ".D");
  EXPECT_EQ(IndexExtension(), ".I");
  UseDefinition(Definition('.', 4, std::string("DATA\0", 5), std::string("INDX\0", 5)));
  ReadNameSettings(run);
  EXPECT_EQ(DataExtension(), ".DATA");
  EXPECT_EQ(IndexExtension(), ".INDX");
}

TEST_F(ReadNameSettingsTest, KeepsTheDefaultsForALengthOfNoneOrMoreThanFour) {
  for (const char length : {'\0', '\5', '\xFF'}) {
    UseDefinition(Definition('/', length, "ABCDE", std::string("ABCDE\0", 6)));
    ReadNameSettings(run);
    EXPECT_EQ(DataExtension(), ".TXT");
    EXPECT_EQ(IndexExtension(), ".ISI");
    EXPECT_EQ(run.names.extSeparator, '/');
  }
}

TEST_F(ReadNameSettingsTest, KeepsTheIndexDefaultWhenItsBytesAreNotAllThere) {
  UseDefinition(Definition('.', 3, std::string("DAT\0", 4), "IDX"));
  ReadNameSettings(run);
  EXPECT_EQ(DataExtension(), ".DAT");
  EXPECT_EQ(IndexExtension(), ".ISI");
}

TEST_F(ReadNameSettingsTest, KeepsTheDotForASeparatorOfZeroOrNone) {
  UseDefinition(Definition('\0', 3, std::string("DAT\0", 4), ""));
  ReadNameSettings(run);
  EXPECT_EQ(run.names.extSeparator, '.');
  EXPECT_EQ(DataExtension(), ".DAT");
  UseDefinition(std::string(512, 'x'));
  ReadNameSettings(run);
  EXPECT_EQ(run.names.extSeparator, '.');
  EXPECT_EQ(DataExtension(), ".TXT");
}

TEST_F(ReadNameSettingsTest, ReadsTheIndexDefaultInIndexModeOnly) {
  UseDefinition(Definition('.', 3, std::string("DAT\0", 4), std::string("IDX\0", 4)));
  run.control.indexMode = false;
  ReadNameSettings(run);
  EXPECT_EQ(DataExtension(), ".DAT");
  EXPECT_EQ(IndexExtension(), ".ISI");
}

TEST_F(ReadNameSettingsTest, OpensTheDefinitionForUpdateAndWritesNothing) {
  const std::string bytes = Definition('.', 3, std::string("DAT\0", 4), std::string("IDX\0", 4));
  UseDefinition(bytes);
  int access = -1;
  calls.Replace<&SystemCalls::open>([&](const char* path, int flags, mode_t mode) {
    access = flags & O_ACCMODE;
    return calls.Original().open(path, flags, mode);
  });
  calls.Watch<&SystemCalls::close>();
  ReadNameSettings(run);
  EXPECT_EQ(access, O_RDWR);
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
  EXPECT_EQ(scratch.Read("vt.def"), bytes);
}

TEST_F(ReadNameSettingsTest, JoinsTheBuiltInDirectoryAndTheTerminalWithoutASlash) {
  environment.Set("TERM", "vt");
  ReadNameSettings(run);
  EXPECT_EQ(run.files.lastOpenPath.View(), "/usr/kvcvt.def");
}

TEST_F(ReadNameSettingsTest, TakesTheFirstSystemAndTerminalThatHaveValues) {
  environment.Set("DBC", "/s3");
  environment.Set("TERM", "t3");
  ReadNameSettings(run);
  EXPECT_EQ(run.files.lastOpenPath.View(), "/s3/t3.def");
  environment.Set("TAVDB_DBC", "/s2");
  environment.Set("TAVDB_TERM", "t2");
  ReadNameSettings(run);
  EXPECT_EQ(run.files.lastOpenPath.View(), "/s2/t2.def");
  environment.Set("KVR_SYSTEM", "/s1");
  environment.Set("KVR_TERM", "t1");
  ReadNameSettings(run);
  EXPECT_EQ(run.files.lastOpenPath.View(), "/s1/t1.def");
}

TEST_F(ReadNameSettingsTest, ReadsNoFileWithoutATerminal) {
  UseDefinition(Definition('/', 3, std::string("DAT\0", 4), std::string("IDX\0", 4)));
  environment.Unset("KVR_TERM");
  calls.Watch<&SystemCalls::open>();
  ReadNameSettings(run);
  EXPECT_EQ(calls.Count<&SystemCalls::open>(), 0);
  EXPECT_EQ(DataExtension(), ".TXT");
}

}  // namespace
}  // namespace tavindex::test
