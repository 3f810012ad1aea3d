#include "driver/pre_options.h"

#include "support/run_test.h"
#include "support/token_arguments.h"

namespace tavindex::test {
namespace {

class ReadPreOptionsTest : public RunTest {
 protected:
  Result Read(std::vector<std::string> texts) {
    TokenArguments tokens(std::move(texts));
    const Result result = ReadPreOptions(run, tokens.arguments);
    next = tokens.arguments.next;
    return result;
  }
  std::string IniName() const { return run.names.iniFileName.CStr(); }

  std::size_t next = 0;
};

TEST_F(ReadPreOptionsTest, StopAtTheDataFile) {
  EXPECT_EQ(Read({"-d", "-1", "data", "-0"}), kOk);
  EXPECT_EQ(next, 3U);
  EXPECT_TRUE(run.control.debugMode);
  EXPECT_EQ(run.control.sortMethod, 1U);
}

TEST_F(ReadPreOptionsTest, ReadToTheEnd) {
  EXPECT_EQ(Read({"-d"}), kOk);
  EXPECT_EQ(next, 2U);
}

TEST_F(ReadPreOptionsTest, SelectTheSortMethod) {
  EXPECT_EQ(Read({"-1"}), kOk);
  EXPECT_EQ(run.control.sortMethod, 1U);
  EXPECT_EQ(Read({"-1", "-0"}), kOk);
  EXPECT_EQ(run.control.sortMethod, 0U);
}

TEST_F(ReadPreOptionsTest, ShowTheUsageAndStop) {
  EXPECT_EQ(Read({"-?", "-d"}), -12);
  EXPECT_FALSE(run.control.debugMode);
  EXPECT_NE(console.Text().find("\nopts:\n"), std::string::npos);
}

TEST_F(ReadPreOptionsTest, PassOverOtherLetters) {
  EXPECT_EQ(Read({"-x", "-", "-lx.log", "-2", "-D", "data"}), kOk);
  EXPECT_EQ(next, 6U);
  EXPECT_TRUE(run.control.debugMode);
  EXPECT_EQ(console.Text(), "");
}

// --- the configuration file ----------------------------------------------------------------------

TEST_F(ReadPreOptionsTest, TakeTheConfigurationFilesNameAttachedOrNext) {
  EXPECT_EQ(Read({"-iconf.cfg", "data"}), kOk);
  EXPECT_EQ(IniName(), "conf.cfg");
  EXPECT_EQ(next, 2U);
  EXPECT_EQ(Read({"-I", "other.cfg", "data"}), kOk);
  EXPECT_EQ(IniName(), "other.cfg");
  EXPECT_EQ(next, 3U);
}

TEST_F(ReadPreOptionsTest, AddAnExtensionToAConfigurationFileWithoutADot) {
  EXPECT_EQ(Read({"-iconf"}), kOk);
  EXPECT_EQ(IniName(), "conf.ini");
  EXPECT_EQ(Read({"-i/etc/conf.d/x"}), kOk);
  EXPECT_EQ(IniName(), "/etc/conf.d/x.ini");
  EXPECT_EQ(Read({"-i../x"}), kOk);
  EXPECT_EQ(IniName(), "../x.ini");
}

TEST_F(ReadPreOptionsTest, CountADotInTheFirstCharacter) {
  EXPECT_EQ(Read({"-i.conf"}), kOk);
  EXPECT_EQ(IniName(), ".conf");
  EXPECT_EQ(Read({"-i/etc/.conf"}), kOk);
  EXPECT_EQ(IniName(), "/etc/.conf");
}

TEST_F(ReadPreOptionsTest, SkipBlanksAndControlCharactersBeforeTheName) {
  EXPECT_EQ(Read({"-i \t\x01"
                  "conf.cfg"}),
            kOk);
  EXPECT_EQ(IniName(), "conf.cfg");
}

TEST_F(ReadPreOptionsTest, Keep256CharactersOfTheName) {
  EXPECT_EQ(Read({"-i" + std::string(300, 'c')}), kOk);
  EXPECT_EQ(IniName(), std::string(256, 'c') + ".ini");
}

TEST_F(ReadPreOptionsTest, RefuseAMissingName) {
  EXPECT_EQ(Read({"-i"}), -11);
  EXPECT_EQ(console.Take(), "Invalid parameter for -i option!\n");
  EXPECT_EQ(Read({"-i", "-d", "data"}), -11);
  EXPECT_EQ(console.Take(), "Invalid parameter for -i option!\n");
  EXPECT_FALSE(run.control.debugMode);
}

// --- the sort memory -----------------------------------------------------------------------------

TEST_F(ReadPreOptionsTest, SetTheBudgetToAnyOtherValue) {
  EXPECT_EQ(Read({"-m2000000"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 2000000U);
  EXPECT_EQ(console.Take(), "Max memory set to 2000000.\n");
  EXPECT_EQ(Read({"-M9000"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 9000U);
  EXPECT_EQ(console.Take(), "Max memory set to 9000.\n");
}

TEST_F(ReadPreOptionsTest, SaySilentlyTheBudgetInForce) {
  EXPECT_EQ(Read({"-m1048576"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 1048576U);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(ReadPreOptionsTest, NeverWarnOfATinyBudget) {
  EXPECT_EQ(Read({"-m1", "-m0", "-m0"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 0U);
  EXPECT_EQ(console.Text(), "Max memory set to 1.\nMax memory set to 0.\n");
}

TEST_F(ReadPreOptionsTest, EndTheBudgetAtTheFirstOtherCharacter) {
  EXPECT_EQ(Read({"-m64k"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 64U);
  EXPECT_EQ(Read({"-m"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 0U);
}

TEST_F(ReadPreOptionsTest, PrintTheBudgetAsReadAndKeepItUnsigned) {
  EXPECT_EQ(Read({"-m-1"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 4294967295U);
  EXPECT_EQ(console.Take(), "Max memory set to -1.\n");
  EXPECT_EQ(Read({"-m-99999999999"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 2147483648U);
  EXPECT_EQ(console.Take(), "Max memory set to -2147483648.\n");
  EXPECT_EQ(Read({"-m99999999999"}), kOk);
  EXPECT_EQ(run.control.maxMemory, 4294967295U);
  EXPECT_EQ(console.Take(), "Max memory set to 4294967295.\n");
}

// --- the train table -----------------------------------------------------------------------------

TEST_F(ReadPreOptionsTest, SetTheTrainTableUpTo16383) {
  EXPECT_EQ(Read({"-t16383"}), kOk);
  EXPECT_EQ(run.control.maxSortTrains, 16383);
  EXPECT_EQ(console.Take(), "Max sort trains set to 16383.\n");
  EXPECT_EQ(Read({"-T0"}), kOk);
  EXPECT_EQ(run.control.maxSortTrains, 0);
  EXPECT_EQ(console.Take(), "Max sort trains set to 0.\n");
}

TEST_F(ReadPreOptionsTest, KeepTheTrainTableOfALargerValue) {
  for (const char* option : {"-t16384", "-t20000", "-t-1", "-t99999999999"}) {
    EXPECT_EQ(Read({option}), kOk);
    EXPECT_EQ(run.control.maxSortTrains, 20000) << option;
    EXPECT_EQ(console.Take(), "-t option value too large.  Default of 999 assumed.\n") << option;
  }
}

}  // namespace
}  // namespace tavindex::test
