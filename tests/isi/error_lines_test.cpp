#include "isi/error_lines.h"

#include "tree_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 64 * 1024;

class ErrorLinesTest : public TreeTest {
 protected:
  ErrorLinesTest() {
    run.files.errorFd = OpenFile(scratch.Path("data.ERR").c_str(), O_RDWR | O_CREAT, 0600);
  }
  std::string ErrorFile() const { return scratch.Read("data.ERR"); }
};

TEST_F(ErrorLinesTest, WaitUntilTheyAreFlushed) {
  EXPECT_TRUE(AddErrorLine(run, "one\r\n"));
  EXPECT_TRUE(AddErrorLine(run, "two\r\n"));
  EXPECT_EQ(ErrorFile(), "");
  EXPECT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(ErrorFile(), "one\r\ntwo\r\n");
  EXPECT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(ErrorFile(), "one\r\ntwo\r\n");
}

TEST_F(ErrorLinesTest, GoOutInBlocks) {
  calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
    return calls.Original().write(fd, bytes, count);
  });
  const std::string line(255, 'x');
  std::string all;
  for (std::size_t i = 0; i <= kBlock / line.size(); ++i) {
    EXPECT_TRUE(AddErrorLine(run, line));
    all += line;
  }
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 1);
  EXPECT_EQ(ErrorFile(), all.substr(line.size()));
  EXPECT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(ErrorFile(), all);
}

TEST_F(ErrorLinesTest, FillABlockToItsLastByte) {
  calls.Replace<&SystemCalls::write>([this](int fd, const void* bytes, std::size_t count) {
    return calls.Original().write(fd, bytes, count);
  });
  const std::string line(256, 'x');
  for (std::size_t i = 0; i < kBlock / line.size(); ++i) EXPECT_TRUE(AddErrorLine(run, line));
  EXPECT_EQ(calls.Count<&SystemCalls::write>(), 0);
  EXPECT_TRUE(AddErrorLine(run, "y"));
  EXPECT_EQ(ErrorFile(), std::string(kBlock, 'x'));
}

TEST_F(ErrorLinesTest, AreDroppedWithoutAnErrorFile) {
  CloseFile(run.files.errorFd);
  EXPECT_TRUE(AddErrorLine(run, "one\r\n"));
  EXPECT_TRUE(run.isi.errorLines.Empty());
}

TEST_F(ErrorLinesTest, AreGivenUpWhenTheyCannotBeWritten) {
  EXPECT_TRUE(AddErrorLine(run, "one\r\n"));
  calls.FailNth<&SystemCalls::write>(1, ENOSPC);
  EXPECT_FALSE(FlushErrorLines(run));
  EXPECT_EQ(run.files.workFile, run.files.errorFd);
  EXPECT_TRUE(FlushErrorLines(run));
  EXPECT_EQ(ErrorFile(), "");
}

TEST_F(ErrorLinesTest, AddErrorLineTellsThatABlockCouldNotBeWritten) {
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  const std::string line(256, 'x');
  for (std::size_t i = 0; i < kBlock / line.size(); ++i) ASSERT_TRUE(AddErrorLine(run, line));
  EXPECT_FALSE(AddErrorLine(run, line));
  EXPECT_EQ(run.files.workFile, run.files.errorFd);
}

}  // namespace
}  // namespace tavindex::test
