#include "common/usage.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

using ShowUsageTest = RunTest;

constexpr const char* kUsage =
    "\n"
    "tavindex [-l{log}] {data}[,{isi}[,{Lnnn}[,{tmppath}]]] -[{opts}]{keyspecs}\n"
    "tavindex isi -[i|r]\n"
    "  data - Data file spec                  isi  - Index file spec\n"
    "  Lnnn - Record size for NULL file/Max record size for variable length records\n"
    "         (65533 Max)\n"
    "  tmppath - Location of temporary work files\n"
    "opts:\n"
    "  b = Treat space comp as binary char    c[={n}] = Compact ISI file\n"
    "  d = Allow duplicate keys               e = Error file of duplicate keys\n"
    "  f={nn} = Binary data & no EOR          g={nn} = Binary data with EOR\n"
    "  i = Display file index info            m{nn} = Max sector fill percent\n"
    "  n = Don't allow duplicate keys         n0= Duplicate keys ignored for NODUP\n"
    "  n$= Quietly ignore duplicate keys      o[={n}] = Set ISI OS type\n"
    "  p{nnn}{=|#}{c} = Primary record        q = Quit if unable to OPEN data file\n"
    "  r = Reindex file using index info      s = Allow space compression\n"
    "  u = Convert lower case to upper case   v = Allow variable length records\n"
    "  w = Write all records at End Of File   x = Disable record count\n"
    "  y = Don't put Drive in ISI header      z = Discard Path in ISI header\n"
    "  keyspecs: 1-10,21-30,15-20,...etc;  Up to 150 bytes can be used\n"
    "Examples: tavindex test,test,l100 -un,p11=A,1-10,20,30-40\n"
    "          tavindex test.dat,test.is2 -11-20,1-5,7-8,21-30\n";

TEST_F(ShowUsageTest, PrintsTheTextToTheByte) {
  ShowUsage(run);
  EXPECT_EQ(console.Text(), kUsage);
}

TEST_F(ShowUsageTest, PadsTheLeftColumnTo39Characters) {
  ShowUsage(run);
  const std::string text = console.Text();
  for (const char* option : {"c[={n}]", "e = E", "g={nn}", "m{nn}", "n0=", "o[={n}]", "q = Q",
                             "s = A", "v = A", "x = D", "z = D", "isi  -"}) {
    const std::size_t at = text.find(option);
    ASSERT_NE(at, std::string::npos) << option;
    EXPECT_EQ(at - text.rfind('\n', at) - 1, 39U + 2U) << option;
  }
}

TEST_F(ShowUsageTest, PrintsNothingWithoutAStream) {
  run.console.consoleStream = nullptr;
  ShowUsage(run);
  EXPECT_EQ(console.Text(), "");
}

}  // namespace
}  // namespace tavindex::test
