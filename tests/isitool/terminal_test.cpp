// What is seen on a terminal, and only there: progress, colours, the width of the screen.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "isitool/progress.h"
#include "isitool/tool.h"
#include "tool_run.h"

namespace tavindex::test {
namespace {

// A terminal whose screen a test can read: what was written to Stream(), up to now.
class Terminal {
 public:
  // Some chroots have no terminals to give.
  static bool Available() {
    const int screen = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (screen < 0) return false;
    ::close(screen);
    return true;
  }
  explicit Terminal(unsigned short columns) : screen_(::posix_openpt(O_RDWR | O_NOCTTY)) {
    ::grantpt(screen_);
    ::unlockpt(screen_);
    const int fd = ::open(::ptsname(screen_), O_RDWR | O_NOCTTY);
    termios settings{};
    ::tcgetattr(fd, &settings);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);  // line ends as they were written
    ::tcsetattr(fd, TCSANOW, &settings);
    const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(fd, TIOCSWINSZ, &size);
    ::fcntl(screen_, F_SETFL, O_NONBLOCK);
    stream_ = ::fdopen(fd, "w");
  }
  ~Terminal() {
    std::fclose(stream_);
    ::close(screen_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::FILE* Stream() const { return stream_; }
  std::string Read() const {
    std::fflush(stream_);
    std::string text;
    char block[4096];
    for (ssize_t count; (count = ::read(screen_, block, sizeof block)) > 0;) {
      text.append(block, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int screen_;
  std::FILE* stream_;
};

class OnATerminal : public ToolTest {
 protected:
  static std::string Run(std::vector<std::string> arguments, const Terminal& terminal) {
    arguments.insert(arguments.begin(), "isitool");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    RunTool(static_cast<int>(arguments.size()), argv.data(), terminal.Stream(), terminal.Stream());
    return terminal.Read();
  }
};

TEST_F(OnATerminal, ProgressIsOverwrittenAndCleared) {
  if (!Terminal::Available()) return;
  const Terminal terminal(80);
  {
    Progress progress(terminal.Stream());
    progress.Begin("records", 4000);
    progress.Step(1000);
    EXPECT_EQ(terminal.Read(), "\rrecords: 25.0 %\x1B[K");
    progress.Step(1001);
    EXPECT_EQ(terminal.Read(), "") << "not so soon again";
    progress.Clear();
    EXPECT_EQ(terminal.Read(), "\r\x1B[K");
    progress.Clear();
  }
  EXPECT_EQ(terminal.Read(), "");
}

TEST_F(OnATerminal, CheckEndsWithItsSummaryAlone) {
  if (!Terminal::Available()) return;
  WriteTiny();
  const Terminal terminal(80);
  const std::string text = Run({"check", "tiny.ISI"}, terminal);
  const std::string summary =
      "tiny.ISI: 7 records, 1 deleted record, 4 nodes in 2 levels; compared with tiny.TXT: no "
      "faults\n";
  ASSERT_TRUE(text.ends_with("\r\x1B[K" + summary)) << text;
  EXPECT_TRUE(text.starts_with("\rnodes: ")) << text;
}

TEST_F(OnATerminal, MapIsColoredUnlessRefused) {
  if (!Terminal::Available()) return;
  WriteTiny();
  environment.Set("COLUMNS", "80");
  const Terminal terminal(80);
  EXPECT_NE(Run({"map", "tiny.ISI"}, terminal).find("\x1B[38;5;"), std::string::npos);
  EXPECT_EQ(Run({"map", "--color=never", "tiny.ISI"}, terminal).find('\x1B'), std::string::npos);
  environment.Set("NO_COLOR", "");
  EXPECT_NE(Run({"map", "tiny.ISI"}, terminal).find('\x1B'), std::string::npos)
      << "an empty value refuses nothing";
  environment.Set("NO_COLOR", "1");
  EXPECT_EQ(Run({"map", "tiny.ISI"}, terminal).substr(0, 14), "   0  HHrdlll\n");
}

// 30 columns: 4 for the number, 2 blanks, 24 signs.
TEST_F(OnATerminal, MapIsAsWideAsTheTerminal) {
  if (!Terminal::Available()) return;
  std::vector<std::byte> image = TinyImage();
  image.resize(40 * 512);
  WriteBytes("tiny.ISI", image);
  const Terminal terminal(30);
  const std::string text = Run({"map", "--color=never", "tiny.ISI"}, terminal);
  EXPECT_EQ(text.substr(0, 62),
            "   0  HHrdlll.................\n"
            "  24  ................\n"
            "\n"
            "  H   h");
}

}  // namespace
}  // namespace tavindex::test
