#include "setup/file_fields.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class ReadFileFieldsTest : public RunTest {
 protected:
  Result Read(const std::string& line) {
    run.files.dataFileName.Clear();
    run.files.outputFileName.Clear();
    run.options = OptionState{};
    optionStart = 0;
    const Result result = ReadFileFields(run, line, optionStart);
    options = result == kOk ? line.substr(optionStart) : "";
    return result;
  }
  void ExpectFields(const std::string& line, std::string_view data, std::string_view isi,
                    std::uint32_t length, std::string_view directory) {
    EXPECT_EQ(Read(line), kOk) << line;
    EXPECT_EQ(run.files.dataFileName.View(), data) << line;
    EXPECT_EQ(run.files.outputFileName.View(), isi) << line;
    EXPECT_EQ(run.options.declaredRecordLength, length) << line;
    EXPECT_EQ(run.options.workDirectory.View(), directory) << line;
    EXPECT_EQ(options, "1-5") << line;
  }

  std::size_t optionStart = 0;
  std::string options;
};

TEST_F(ReadFileFieldsTest, TakesADataFileAlone) { ExpectFields("data -1-5", "data", "", 0, ""); }

TEST_F(ReadFileFieldsTest, TakesAllFourFields) {
  ExpectFields("data,isi,l100,/var/tmp -1-5", "data", "isi", 100, "/var/tmp");
}

TEST_F(ReadFileFieldsTest, TakesBlanksForSeparators) {
  ExpectFields("data isi l100 /var/tmp -1-5", "data", "isi", 100, "/var/tmp");
  ExpectFields("data   isi -1-5", "data", "isi", 0, "");
}

TEST_F(ReadFileFieldsTest, TakesBlanksAroundAComma) {
  ExpectFields("data  ,  isi , l100  ,  /var/tmp   -1-5", "data", "isi", 100, "/var/tmp");
}

TEST_F(ReadFileFieldsTest, LeavesEmptyFieldsEmpty) {
  ExpectFields("data,,l100 -1-5", "data", "", 100, "");
  ExpectFields("data,isi,,/var/tmp -1-5", "data", "isi", 0, "/var/tmp");
  ExpectFields("data,,,/var/tmp -1-5", "data", "", 0, "/var/tmp");
}

TEST_F(ReadFileFieldsTest, EndsTheFieldsAtADash) {
  ExpectFields("data,-1-5", "data", "", 0, "");
  ExpectFields("data,isi,-1-5", "data", "isi", 0, "");
  ExpectFields("data,isi,l100,-1-5", "data", "isi", 100, "");
}

TEST_F(ReadFileFieldsTest, TakesASemicolonForTheDash) {
  ExpectFields("data;1-5", "data", "", 0, "");
  ExpectFields("data,isi;1-5", "data", "isi", 0, "");
  ExpectFields("data,isi,l100;1-5", "data", "isi", 100, "");
  ExpectFields("data,isi,l100,/tmp;1-5", "data", "isi", 100, "/tmp");
}

TEST_F(ReadFileFieldsTest, TakesQuotedNames) {
  ExpectFields("\"my data\",\"my,isi\",l9,\"a;b\" -1-5", "my data", "my,isi", 9, "a;b");
}

TEST_F(ReadFileFieldsTest, KeepsADashInsideAName) {
  ExpectFields("my-data,my-isi,l9,/tmp/a-b -1-5", "my-data", "my-isi", 9, "/tmp/a-b");
}

TEST_F(ReadFileFieldsTest, TakesTheLengthInEitherCase) {
  ExpectFields("data,isi,L65534 -1-5", "data", "isi", 65534, "");
}

TEST_F(ReadFileFieldsTest, RefusesLengthsOutOfRange) {
  for (const char* field : {"l0", "l65535", "l99999999999", "l000"}) {
    EXPECT_EQ(Read(std::string("data,isi,") + field + " -1-5"), -108) << field;
  }
}

TEST_F(ReadFileFieldsTest, MeasuresTheLengthAgainstTheEndOfRecord) {
  run.data.eorLength = 2;
  EXPECT_EQ(Read("data,isi,l65534 -1-5"), -108);
  EXPECT_EQ(Read("data,isi,l65533 -1-5"), kOk);
}

TEST_F(ReadFileFieldsTest, RefusesLengthsThatAreNone) {
  for (const char* field : {"l", "100", "x100", "l1x", "l-5", "ll5", "\"l5\""}) {
    EXPECT_EQ(Read(std::string("data,isi,") + field + " -1-5"), -108) << field;
  }
}

TEST_F(ReadFileFieldsTest, FindsAWrongLengthBeforeAMissingOptionText) {
  EXPECT_EQ(Read("data,isi,x"), -108);
}

TEST_F(ReadFileFieldsTest, RefusesATextThatEndsBeforeTheOptions) {
  for (const char* line :
       {"", "   ", "data", "data ", "data,", "data,isi", "data,isi,", "data,isi,l5", "data,isi,l5,",
        "data,isi,l5,/tmp", "data,isi,l5,/tmp "}) {
    EXPECT_EQ(Read(line), -104) << line;
  }
}

TEST_F(ReadFileFieldsTest, RefusesAMissingDataName) {
  for (const char* line : {",isi -1-5", ";1-5", "\"\",isi -1-5", "\"data,isi -1-5"}) {
    EXPECT_EQ(Read(line), -104) << line;
  }
}

TEST_F(ReadFileFieldsTest, RefusesNamesThatStopAtAnotherCharacter) {
  for (const char* line : {"da*ta,isi -1-5", "data,i?si -1-5", "\"data\"x,isi -1-5",
                           "data,isi,l5,/t|mp -1-5", "da\"ta\" -1-5"}) {
    EXPECT_EQ(Read(line), -104) << line;
  }
}

TEST_F(ReadFileFieldsTest, RefusesForbiddenCharactersInQuotes) {
  EXPECT_EQ(Read("\"da<ta\" -1-5"), -104);
  EXPECT_EQ(Read("data,\"i*\" -1-5"), -104);
}

TEST_F(ReadFileFieldsTest, TakesNamesOf249Characters) {
  const std::string name(249, 'n');
  ExpectFields(name + " -1-5", name, "", 0, "");
  ExpectFields("d," + name + " -1-5", "d", name, 0, "");
  ExpectFields("d,i,l5," + name + " -1-5", "d", "i", 5, name);
}

TEST_F(ReadFileFieldsTest, RefusesLongerNames) {
  for (const std::size_t length : {250U, 251U, 400U}) {
    const std::string name(length, 'n');
    EXPECT_EQ(Read(name + " -1-5"), -107) << length;
    EXPECT_EQ(Read("d," + name + " -1-5"), -107) << length;
    EXPECT_EQ(Read("d,i,l5," + name + " -1-5"), -107) << length;
    EXPECT_EQ(Read("\"" + name + "\" -1-5"), -107) << length;
  }
}

}  // namespace
}  // namespace tavindex::test
