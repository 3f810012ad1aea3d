#include "driver/run_driver.h"

#include <fcntl.h>
#include <signal.h>

#include <regex>
#include <utility>
#include <vector>

#include "driver/clean_up.h"
#include "driver/version.h"
#include "support/child_process.h"
#include "support/isi_image.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

constexpr char kRecords[] = "ccc 1\naaa 2\nbbb 3\n";

class RunDriverTest : public RunTest {
 protected:
  RunDriverTest() : here(scratch.MakeDirectory("here")) {
    environment.Set("TMPDIR", scratch.MakeDirectory("work"));
    Write("data.TXT", kRecords);
  }

  Result Run(std::vector<std::string> arguments, bool sortCommand = false) {
    arguments.insert(arguments.begin(), "tavindex");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    return RunDriver(static_cast<int>(arguments.size()), argv.data(), nullptr, 0, console.Stream(),
                     sortCommand);
  }
  Result RunText(std::string text) {
    return RunDriver(0, nullptr, text.data(), 0, console.Stream(), false);
  }
  static std::string Banner(const std::string& word = "INDEX") {
    return "\nTAVENOR " + word + " COMMAND   " + kVersionText + "\n" + kNoticeText + "\n";
  }
  // What a run printed behind echo and banner.
  std::string Output() {
    const std::string text = console.Take();
    const std::size_t at = text.find(Banner());
    EXPECT_NE(at, std::string::npos) << text;
    return at == std::string::npos ? text : text.substr(at + Banner().size());
  }
  void Write(const std::string& name, std::string_view bytes) {
    scratch.Write("here/" + name, bytes);
  }
  bool Exists(const std::string& name) const { return scratch.Exists("here/" + name); }
  std::string Read(const std::string& name) const { return scratch.Read("here/" + name); }
  std::ptrdiff_t WorkFiles() const {
    using std::filesystem::directory_iterator;
    return std::distance(directory_iterator(scratch.Path("work")), directory_iterator());
  }
  static std::string NameOf(int fd) {
    std::error_code none;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), none).filename();
  }
  // Writes to a file whose name begins with `front` fail from the nth on.
  void FailWritesTo(const std::string& front, int nth) {
    seen = 0;
    calls.Replace<&SystemCalls::write>([=, this](int fd, const void* bytes, std::size_t count) {
      if (!NameOf(fd).starts_with(front) || ++seen < nth) {
        return calls.Original().write(fd, bytes, count);
      }
      errno = ENOSPC;
      return ssize_t{-1};
    });
  }
  void FailCloseOf(const std::string& name) {
    calls.Replace<&SystemCalls::close>([=, this](int fd) {
      const bool failing = NameOf(fd) == name;
      calls.Original().close(fd);
      errno = EIO;
      return failing ? -1 : 0;
    });
  }

  CurrentDirectory here;
  int seen = 0;
};

void ExpectFront(const std::string& text, const std::string& front) {
  EXPECT_EQ(text.substr(0, front.size()), front);
}

bool HasTimingLine(const std::string& text) {
  static const std::regex line(
      "Start time = [0-2]\\d:[0-5]\\d:[0-5]\\d  Stop time = [0-2]\\d:[0-5]\\d:[0-5]\\d"
      "  Elapsed time = 00:00:\\d\\d\n$");
  return std::regex_search(text, line);
}

// --- the start
// ---------------------------------------------------------------------------------------

TEST_F(RunDriverTest, ShowsBannerAndUsageWithoutArguments) {
  EXPECT_EQ(Run({}), -12);
  const std::string text = console.Text();
  const std::string front = "tavindex \n" + Banner() + "\ntavindex [-l{log}] {data}";
  ExpectFront(text, front);
  const std::string end = "          tavindex test.dat,test.is2 -11-20,1-5,7-8,21-30\n";
  EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

TEST_F(RunDriverTest, ShowsTheUsageForAQuestionMark) {
  EXPECT_EQ(Run({"-?"}), -12);
  const std::string front = "tavindex -? \n" + Banner() + "\ntavindex [-l{log}] {data}";
  ExpectFront(console.Text(), front);
}

TEST_F(RunDriverTest, EndsWithOneForAQuestionMarkInTheOptions) {
  EXPECT_EQ(Run({"data", "-?"}), 1);
  EXPECT_NE(console.Text().find("\nopts:\n"), std::string::npos);
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, EchoesTheArgumentsFirstWhenRedirected) {
  Run({"-m9000", "data", "-1-3"});
  const std::string front =
      "tavindex -m9000 data -1-3 \n" + Banner() + "Max memory set to 9000.\nIndexing data.TXT";
  ExpectFront(console.Text(), front);
}

TEST_F(RunDriverTest, WritesNoProgressLinesWhenRedirected) {
  Run({"data", "-1-3"});
  EXPECT_EQ(console.Text().find('\r'), std::string::npos);
}

TEST_F(RunDriverTest, NamesTheSortCommandInItsBanner) {
  EXPECT_EQ(Run({}, true), -12);
  ExpectFront(console.Text(), "tavindex \n" + Banner("SORT"));
}

TEST_F(RunDriverTest, PrintsNothingWithoutAConsole) {
  char name[] = "tavindex";
  char* argv[] = {name, nullptr};
  EXPECT_EQ(RunDriver(1, argv, nullptr, 0, nullptr, false), -12);
  EXPECT_EQ(console.Text(), "");
}

TEST_F(RunDriverTest, TakesItsArgumentsFromAText) {
  EXPECT_EQ(RunText("tavindex\tdata,isi  -1-3"), kOk);
  const std::string front =
      " INDEX data, isi  -1-3 \n" + Banner() + "Indexing data.TXT into isi.ISI\n";
  ExpectFront(console.Text(), front);
}

TEST_F(RunDriverTest, TakesQuotedNamesFromAText) {
  Write("my data.TXT", kRecords);
  EXPECT_EQ(RunText("\"/my tools/tavindex\" \"my data\",isi -1-3"), kOk);
  ExpectFront(Output(), "Indexing my data.TXT into isi.ISI\n");
}

TEST_F(RunDriverTest, ClearsTheContextAtTheStart) {
  Run({"-d", "-1", "-m9000", "-t5", "-i", "conf", "data", "-1-3"});
  console.Take();
  EXPECT_EQ(Run({}), -12);
  EXPECT_FALSE(run.control.debugMode);
  EXPECT_EQ(run.control.sortMethod, 0U);
  EXPECT_EQ(run.control.maxMemory, 1048576U);
  EXPECT_EQ(run.control.maxSortTrains, 20000);
  EXPECT_TRUE(run.names.iniFileName.Empty());
}

TEST_F(RunDriverTest, AllocatesAContextWhenThereIsNone) {
  RunContext* const before = std::exchange(runContext, nullptr);
  EXPECT_EQ(Run({}), -12);
  EXPECT_NE(runContext, nullptr);
  EXPECT_NE(runContext, before);
  ReleaseContext();
  EXPECT_EQ(runContext, nullptr);
  runContext = before;
  ReleaseContext();  // not the driver's own
  EXPECT_EQ(runContext, before);
}

TEST(SetDefaults, GivesARunItsStart) {
  const auto context = std::make_unique<RunContext>();
  const RunContext& run = *context;
  SetDefaults(*context);
  for (const int fd : {run.files.inputFd, run.files.outputFd, run.files.errorFd, run.files.workFd1,
                       run.files.workFd2}) {
    EXPECT_EQ(fd, -1);
  }
  for (const std::uint8_t byte : run.sort.lastTrainItem) EXPECT_EQ(byte, 0xFF);
  EXPECT_EQ(run.sort.lastTrainItem.size(), 160U);
  EXPECT_EQ(run.options.fillPercent, 100U);
  EXPECT_EQ(run.sort.mergeCountdown, 1000U);
  EXPECT_EQ(run.names.extSeparator, '.');
  EXPECT_EQ(run.data.eorChar1, 10);
  EXPECT_EQ(run.data.eorLength, 1);
  EXPECT_TRUE(run.options.expandTabs);
  EXPECT_TRUE(run.console.progressOn);
  EXPECT_EQ(run.control.maxMemory, 1048576U);
  EXPECT_EQ(run.control.maxSortTrains, 20000);
  EXPECT_EQ(run.control.sortMethod, 0U);
  EXPECT_EQ(run.options.compactFlags, 0U);
  EXPECT_FALSE(run.options.compactLocking || run.control.debugMode || run.console.logOpened);
}

// --- the log
// -------------------------------------------------------------------------------------------

TEST_F(RunDriverTest, SendsEverythingToTheLog) {
  EXPECT_EQ(Run({"-lrun.log", "data", "-1-3"}), kOk);
  EXPECT_EQ(console.Text(), "");
  const std::string front = "tavindex -lrun.log data -1-3 \n" + Banner() + "Indexing data.TXT";
  ExpectFront(Read("run.log"), front);
  EXPECT_TRUE(HasTimingLine(Read("run.log")));
}

TEST_F(RunDriverTest, AppendsToTheLog) {
  Write("run.log", "earlier\n");
  EXPECT_EQ(Run({"-q", "run.log", "data", "-1-3"}), kOk);
  ExpectFront(Read("run.log"), "earlier\ntavindex ");
}

// Its lines would run into those of the log.
TEST_F(RunDriverTest, RefusesAnErrorFileThatIsTheLog) {
  EXPECT_EQ(Run({"-ldata.ERR", "data", "-e,1-3"}), -106);
  EXPECT_EQ(console.Text(), "");
  EXPECT_EQ(Read("data.ERR"), "tavindex -ldata.ERR data -e,1-3 \n" + Banner() +
                                  "Can't create output file data.ERR\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, RefusesAnErrorFileThatIsTheLogUnderAnotherName) {
  Write("run.log", "earlier\n");
  ASSERT_EQ(::link("run.log", "data.ERR"), 0);
  EXPECT_EQ(Run({"-qrun.log", "data", "-n,1-3"}), -106);
  EXPECT_EQ(Read("run.log"), "earlier\ntavindex -qrun.log data -n,1-3 \n" + Banner() +
                                 "Can't create output file data.ERR\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

// --- buffers and memory
// ----------------------------------------------------------------------------------

TEST_F(RunDriverTest, EndsWithoutMemoryForItsBuffers) {
  const auto expectRefusal = [this] {
    EXPECT_EQ(Run({"data", "-1-3"}), -9);
    EXPECT_EQ(Output(), "Insufficient Memory for Buffers.\n");
    EXPECT_FALSE(Exists("data.ISI"));
  };
  calls.FailNth<&SystemCalls::allocate>(1, ENOMEM);  // for what is written
  expectRefusal();
  for (const int nth : {1, 2}) {  // for what is read, for the command line
    calls.FailNth<&SystemCalls::allocateZeroed>(nth, ENOMEM);
    expectRefusal();
  }
}

TEST_F(RunDriverTest, EndsWithoutMemoryForTheTrainTable) {
  calls.FailNth<&SystemCalls::allocate>(2, ENOMEM);
  EXPECT_EQ(Run({"data", "-1-3"}), -9);
  EXPECT_EQ(Output(), "Indexing data.TXT into data.ISI\nSort train memory allocation failed.\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, EndsWithoutSortMemory) {
  calls.FailFrom<&SystemCalls::allocate>(3, ENOMEM);
  EXPECT_EQ(Run({"data", "-1-3"}), -9);
  EXPECT_EQ(Output(), "Indexing data.TXT into data.ISI\nMemory allocation failed.\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, EndsWithABudgetOfNothing) {
  EXPECT_EQ(Run({"-m0", "data", "-1-3"}), -9);
  EXPECT_EQ(Output(),
            "Max memory set to 0.\nIndexing data.TXT into data.ISI\nMemory allocation failed.\n");
  EXPECT_FALSE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, NeedsRoomForThreeSharesOfTheSortArea) {
  // A share of a 5-byte key has 5 + 10 + 4 bytes.
  EXPECT_EQ(Run({"-m56", "data", "-1-5"}), -9);
  EXPECT_NE(Output().find("Memory allocation failed.\n"), std::string::npos);
  EXPECT_EQ(Run({"-m57", "data", "-1-5"}), kOk);
}

TEST_F(RunDriverTest, TakesATinyBudget) {
  EXPECT_EQ(Run({"-m200", "data", "-1-3"}), kOk);
  EXPECT_TRUE(HasTimingLine(console.Text()));
}

// --- pre-options
// -------------------------------------------------------------------------------------------

TEST_F(RunDriverTest, KeepsItsTrainTableForTooLargeAValue) {
  EXPECT_EQ(Run({"-t20000", "data", "-1-3"}), kOk);
  ExpectFront(Output(), "-t option value too large.  Default of 999 assumed.\nI");
  EXPECT_EQ(run.control.maxSortTrains, 20000);
}

TEST_F(RunDriverTest, TakesATrainTableOfNoTrains) {
  EXPECT_EQ(Run({"-t0", "data", "-1-3"}), kOk);
  ExpectFront(Output(), "Max sort trains set to 0.\nIn");
}

TEST_F(RunDriverTest, EndsWithAWrongConfigurationFileOption) {
  EXPECT_EQ(Run({"-i"}), -11);
  EXPECT_EQ(Output(), "Invalid parameter for -i option!\n");
}

TEST_F(RunDriverTest, TellsItsConfigurationFileInDebugMode) {
  EXPECT_EQ(Run({"-d", "data", "-?"}), 1);
  ExpectFront(Output(), "INI file NOT USED!\nCommand line is:dat");
  EXPECT_EQ(Run({"-d", "-iconf", "data", "-?"}), 1);
  ExpectFront(Output(), "Using INI file: 'conf.ini'\nCommand line is:");
}

TEST_F(RunDriverTest, KeepsTheWorkFilesInDebugMode) {
  EXPECT_EQ(Run({"-d", "data", "-1-3"}), kOk);
  EXPECT_EQ(WorkFiles(), 2);
}

// --- the set-up's exits
// --------------------------------------------------------------------------------------

TEST_F(RunDriverTest, PrintsARefusalAndALineEnd) {
  EXPECT_EQ(Run({"data", "-1-5-7"}), -112);
  EXPECT_EQ(Output(), "Invalid key specification syntax.\n");
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, PrintsTheWordsThatTheSetUpLeft) {
  EXPECT_EQ(Run({"none", "-q,1-3"}), -120);
  EXPECT_EQ(Output(), "Can't open source file none.TXT\n");
}

TEST_F(RunDriverTest, PrintsALineEndBehindWordsThatHaveOneOfTheirOwn) {
  EXPECT_EQ(Run({"none", "-c"}), -120);
  EXPECT_EQ(Output(), "Unable to open input ISI file for compact: none.ISI\n\n");
}

TEST_F(RunDriverTest, EndsWithSuccessBehindTheDisplay) {
  Write("x.ISI", EmptyIsi("data.TXT", "data,x -1-3"));
  EXPECT_EQ(Run({"x.ISI", "-i"}), kOk);
  EXPECT_EQ(Output(), "\ntavindex data,x -1-3\n");
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, RefusesAnEmptyLine) {
  EXPECT_EQ(Run({"-d"}), -104);
  EXPECT_EQ(Output(),
            "INI file NOT USED!\nCommand line is:\n"
            "The command line is incomplete.  Use -? option.\n");
}

TEST_F(RunDriverTest, RefusesALineOfMoreThan576Characters) {
  const std::string options = "-1-3" + std::string(568, ',');
  EXPECT_EQ(Run({"-d", "data", options}), -104);  // 4 + 1 + 572 characters
  EXPECT_EQ(Output(), "The command line is incomplete.  Use -? option.\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, TakesALineOf576Characters) {
  EXPECT_EQ(Run({"data", "-1-3" + std::string(567, ',')}), kOk);
  EXPECT_TRUE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, RemovesADataFileOfItsOwnWhenItFails) {
  EXPECT_EQ(Run({"none", "-1-3"}), -160);
  EXPECT_FALSE(Exists("none.TXT"));
}

TEST_F(RunDriverTest, KeepsTheEmptyDataFileOfASuccessfulRun) {
  EXPECT_EQ(Run({"none,none,l80", "-1-3"}), kOk);
  EXPECT_TRUE(Exists("none.TXT"));
  EXPECT_EQ(Read("none.TXT"), "");
  EXPECT_TRUE(Exists("none.ISI"));
}

TEST_F(RunDriverTest, RemovesADataFileOfItsOwnWhenTheBuildFails) {
  FailWritesTo("none.ISI", 1);
  EXPECT_NE(Run({"none,none,l80", "-1-3"}), kOk);
  EXPECT_FALSE(Exists("none.TXT"));
  EXPECT_FALSE(Exists("none.ISI"));
}

// --- the build
// -------------------------------------------------------------------------------------------------

TEST_F(RunDriverTest, BuildsAnIndexAndEndsWithTheTimes) {
  EXPECT_EQ(Run({"data", "-1-3"}), kOk);
  EXPECT_TRUE(HasTimingLine(console.Text()));
  EXPECT_EQ(Read("data.ISI").substr(0, 6), "KISI\x03\xFC");
  EXPECT_EQ(Read("data.ISI").substr(kImageLine, 9), "data -1-3");
  EXPECT_EQ(WorkFiles(), 0);
  EXPECT_EQ(run.console.consoleStream, nullptr);
  EXPECT_FALSE(run.writer.ioBuffer.Allocated());
}

TEST_F(RunDriverTest, DeletesAnErrorFileWithoutDuplicates) {
  EXPECT_EQ(Run({"data", "-e,1-3"}), kOk);
  EXPECT_FALSE(Exists("data.ERR"));
}

TEST_F(RunDriverTest, KeepsAnErrorFileWithDuplicates) {
  Write("data.TXT", "aaa 1\naaa 2\nbbb 3\n");
  EXPECT_EQ(Run({"data", "-e,1-3"}), kOk);
  EXPECT_TRUE(Exists("data.ERR"));
  EXPECT_TRUE(Exists("data.ISI"));
}

constexpr char kWrongData[] =
    "Data file is not in the correct format.  Index file will be deleted.\n";

TEST_F(RunDriverTest, DeletesTheIndexOfRefusedDuplicates) {
  Write("data.TXT", "aaa 1\naaa 2\nbbb 3\n");
  EXPECT_EQ(Run({"data", "-n,1-3"}), -10);
  const std::string text = Output();
  ASSERT_GE(text.size(), sizeof kWrongData - 1);
  EXPECT_EQ(text.substr(text.size() - (sizeof kWrongData - 1)), kWrongData);
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_TRUE(Exists("data.ERR"));
}

// The data is judged all the same: the lines of the duplicates are there, and what they say stands.
TEST_F(RunDriverTest, BlamesRefusedDuplicatesAlsoWhenTheIndexCannotBeWritten) {
  Write("data.TXT", "aaa 1\naaa 2\nbbb 3\n");
  FailWritesTo("data.ISI", 2);  // the first makes room, before any record is read
  EXPECT_EQ(Run({"data", "-n,1-3"}), -10);
  EXPECT_EQ(Output(), std::string("Indexing data.TXT into data.ISI\n"
                                  "Duplicate Key at:               6 Key:aaa \n"
                                  "3 records, 0 deleted entries\n"
                                  "\nUnable to write segment of index file. Errno=28\n"
                                  "WARNING!  INDEX failed writing to file data.ISI.\n") +
                          kWrongData);
  EXPECT_EQ(Read("data.ERR"), "Duplicate Key at:               6 Key:aaa \r\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverTest, DoesNotBlameDuplicatesThatItNeverMet) {
  Write("data.TXT", "aaa 1\naaa 2\nbbb 3\n");
  FailWritesTo("data.ISI", 1);
  EXPECT_EQ(Run({"data", "-n,1-3"}), -157);
  EXPECT_EQ(Output(),
            "Indexing data.TXT into data.ISI\n"
            "\nUnable to write segment of index file. Errno=28\n"
            "WARNING!  INDEX failed writing to file data.ISI.\n");
  EXPECT_FALSE(Exists("data.ERR"));
  EXPECT_FALSE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, DoesNotBlameDuplicatesOnUnexpectedShortRecords) {
  Write("data.TXT", "aaa\naaa 2\nbbb 3\n");
  EXPECT_EQ(Run({"data", "-n,1-3"}), kOk);
  EXPECT_TRUE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, BlamesDuplicatesOnTheDataWhenShortRecordsWereAllowed) {
  Write("data.TXT", "aaa\naaa 2\nbbb 3\n");
  EXPECT_EQ(Run({"data", "-nv,1-3"}), -10);
  EXPECT_FALSE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, DoesNotBlameDuplicatesOnUnexpectedTabs) {
  Write("data.TXT", "aaa\t2\naaa\t1\nbbb\t3\n");
  EXPECT_EQ(Run({"data", "-n,1-3"}), kOk);
  EXPECT_TRUE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, TellsThatTheIndexCannotBeWritten) {
  for (int nth = 1; nth <= 3; ++nth) {
    FailWritesTo("data.ISI", nth);
    const Result result = Run({"data", "-1-3"});
    EXPECT_LT(result, 0) << nth;
    EXPECT_NE(Output().find("WARNING!  INDEX failed writing to file data.ISI.\n"),
              std::string::npos)
        << nth;
    EXPECT_FALSE(Exists("data.ISI")) << nth;
    EXPECT_EQ(WorkFiles(), 0) << nth;
  }
}

class RunDriverWithTrainsTest : public RunDriverTest {
 protected:
  // Records for many trains in a sort area of 8192 bytes, and for two input blocks.
  RunDriverWithTrainsTest() {
    std::string records;
    for (int i = 0; i < 12000; ++i) {
      const std::string number = std::to_string(100000 + i * 7919 % 12000);
      records += number.substr(1) + "\n";
    }
    Write("data.TXT", records);
  }
};

TEST_F(RunDriverWithTrainsTest, BuildsFromManyTrains) {
  EXPECT_EQ(Run({"-m8192", "data", "-1-5"}), kOk);
  EXPECT_EQ(WorkFiles(), 0);
  EXPECT_EQ(Read("data.ISI").substr(44, 4), std::string("\xE0\x2E\0\0", 4));  // 12000 records
}

TEST_F(RunDriverWithTrainsTest, TellsWhichWorkFileCannotBeWritten) {
  FailWritesTo("dsort", 1);
  EXPECT_LT(Run({"-m8192", "data", "-1-5"}), 0);
  const std::string text = Output();
  EXPECT_NE(text.find("WARNING!  INDEX failed writing to file " + scratch.Path("work") + "/dsort"),
            std::string::npos)
      << text;
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
}

TEST_F(RunDriverWithTrainsTest, TellsThatTheInputCannotBeRead) {
  int reads = 0;
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) {
    if (NameOf(fd) != "data.TXT" || ++reads <= 2) return calls.Original().read(fd, bytes, count);
    errno = EIO;
    return ssize_t{-1};
  });
  EXPECT_EQ(Run({"data", "-1-5"}), -4);
  const std::string text = Output();
  const std::size_t reading = text.find("WARNING!  INDEX failed reading input file data.TXT.\n");
  const std::size_t writing = text.find("WARNING!  INDEX failed writing to file ");
  EXPECT_NE(reading, std::string::npos) << text;
  EXPECT_NE(writing, std::string::npos) << text;
  EXPECT_LT(reading, writing);
  EXPECT_FALSE(Exists("data.ISI"));
}

TEST_F(RunDriverWithTrainsTest, EndsWithTooManyTrains) {
  EXPECT_LT(Run({"-t0", "-m8192", "data", "-1-5"}), 0);
  EXPECT_NE(Output().find("Too many sort trains"), std::string::npos);
  EXPECT_FALSE(Exists("data.ISI"));
}

TEST_F(RunDriverTest, TellsThatTheIndexCannotBeClosed) {
  FailCloseOf("data.ISI");
  EXPECT_EQ(Run({"data", "-1-3"}), 1);
  const std::string text = Output();
  EXPECT_NE(text.find("Close(outfile) failed.\n"), std::string::npos);
  EXPECT_FALSE(HasTimingLine(text));
}

TEST_F(RunDriverTest, TellsThatTheDataCannotBeClosed) {
  FailCloseOf("data.TXT");
  EXPECT_EQ(Run({"data", "-1-3"}), 1);
  EXPECT_NE(Output().find("Close(infile) failed.\n"), std::string::npos);
}

// --- interrupts
// --------------------------------------------------------------------------------------------------

TEST_F(RunDriverTest, RemovesEverythingWhenItIsInterruptedWhileItWritesTheIndex) {
  const int status = RunInChild([&] {
    InstallInterruptHandler();
    calls.Replace<&SystemCalls::write>([&](int fd, const void* bytes, std::size_t count) {
      if (NameOf(fd) == "data.ISI") ::raise(SIGINT);
      return calls.Original().write(fd, bytes, count);
    });
    Run({"data", "-1-3"});
  });
  EXPECT_EQ(status, 1);
  EXPECT_EQ(Output(), "Indexing data.TXT into data.ISI\nProcessing aborted via user interrupt.\n");
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 0);
  EXPECT_EQ(Read("data.TXT"), kRecords);
}

TEST_F(RunDriverTest, KeepsTheWorkFilesOfAnInterruptedRunInDebugMode) {
  const int status = RunInChild([&] {
    InstallInterruptHandler();
    calls.Replace<&SystemCalls::write>([&](int fd, const void* bytes, std::size_t count) {
      if (NameOf(fd) == "data.ISI") ::raise(SIGINT);
      return calls.Original().write(fd, bytes, count);
    });
    Run({"-d", "data", "-1-3"});
  });
  EXPECT_EQ(status, 1);
  EXPECT_FALSE(Exists("data.ISI"));
  EXPECT_EQ(WorkFiles(), 2);
}

// The signal comes at each system call that makes a file of the run.
TEST_F(RunDriverTest, KnowsEveryFileItMadeWhenItIsInterrupted) {
  for (int nth = 1; nth <= 6; ++nth) {
    const int status = RunInChild([&] {
      InstallInterruptHandler();
      int made = 0;
      calls.Replace<&SystemCalls::open>([&](const char* path, int flags, mode_t mode) {
        const int fd = calls.Original().open(path, flags, mode);
        if (++made == nth) ::raise(SIGINT);
        return fd;
      });
      Run({"none,none,l80", "-e,1-3"});
    });
    EXPECT_EQ(status, 1) << nth;
    EXPECT_FALSE(Exists("none.TXT")) << nth;
    EXPECT_FALSE(Exists("none.ISI")) << nth;
    EXPECT_EQ(WorkFiles(), 0) << nth;
  }
}

TEST_F(RunDriverTest, KnowsItsWorkFilesWhenItIsInterrupted) {
  for (const int nth : {1, 2}) {
    const int status = RunInChild([&] {
      InstallInterruptHandler();
      int made = 0;
      calls.Replace<&SystemCalls::mkstemp>([&](char* pattern) {
        const int fd = calls.Original().mkstemp(pattern);
        if (++made == nth) ::raise(SIGINT);
        return fd;
      });
      Run({"data", "-1-3"});
    });
    EXPECT_EQ(status, 1) << nth;
    EXPECT_EQ(WorkFiles(), 0) << nth;
  }
}

}  // namespace
}  // namespace tavindex::test
