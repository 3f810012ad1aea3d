#include "tool_run.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <span>

#include "isitool/tool.h"
#include "tree_maker.h"

namespace tavindex::test {
namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// A stream in memory: thousands of runs make no files.
class MemoryStream {
 public:
  MemoryStream() : stream_(::open_memstream(&text_, &size_)) {}
  ~MemoryStream() {
    std::fclose(stream_);
    std::free(text_);
  }
  MemoryStream(const MemoryStream&) = delete;
  MemoryStream& operator=(const MemoryStream&) = delete;

  std::FILE* Stream() const { return stream_; }
  std::string Text() const {
    std::fflush(stream_);
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::FILE* stream_;
};

int Shell(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string CommandOf(const char* program, const std::vector<std::string>& arguments) {
  std::string command = Quoted(program);
  for (const std::string& argument : arguments) command += " " + Quoted(argument);
  return command;
}

}  // namespace

ToolTest::ToolTest() : directory_(scratch.Path()) {
  for (const char* name : {"COLUMNS", "NO_COLOR", "POSIXLY_CORRECT"}) environment.Unset(name);
  environment.Set("TZ", "UTC");
}

ToolResult ToolTest::Isitool(const std::vector<std::string>& arguments) const {
  const std::string out = scratch.Path(".out");
  const std::string err = scratch.Path(".err");
  ToolResult result;
  result.status = Shell(CommandOf(ISITOOL_BINARY, arguments) + " >" + out + " 2>" + err);
  result.out = scratch.Read(".out");
  result.err = scratch.Read(".err");
  return result;
}

ToolResult ToolTest::Here(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "isitool");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const MemoryStream out;
  const MemoryStream err;
  const ToolStatus status =
      RunTool(static_cast<int>(arguments.size()), argv.data(), out.Stream(), err.Stream());
  return {static_cast<int>(status), out.Text(), err.Text()};
}

int ToolTest::Tavindex(const std::vector<std::string>& arguments) const {
  return Shell(CommandOf(TAVINDEX_BINARY, arguments) + " >" + scratch.Path(".log") + " 2>&1");
}

std::vector<std::byte> ToolTest::TinyImage(bool recordNumbers, ByteOrder order) {
  BuildRequest request;
  request.keys = {{1, 4}};
  request.fillPercent = 7;
  request.recordNumbers = recordNumbers;
  const IndexModel model = BuildModel(std::as_bytes(std::span(kTinyData)), request);
  return ExpectedIsi(model, request, {"tiny.TXT", "tiny -m07,1-4", 0, order});
}

void ToolTest::WriteTiny(bool recordNumbers, ByteOrder order) const {
  scratch.Write("tiny.TXT", kTinyData);
  WriteBytes("tiny.ISI", TinyImage(recordNumbers, order));
}

void ToolTest::WriteBytes(const std::string& name, const std::vector<std::byte>& bytes) const {
  ::unlink(scratch.Path(name).c_str());  // a new file: emptying one makes file systems wait
  scratch.Write(name, TextOf(bytes));
}

std::string ToolTest::Json(const std::string& lines, const std::string& expression) const {
  scratch.Write(".json", lines);
  scratch.Write(".py",
                "import json\n"
                "with open('.json', encoding='utf-8', errors='strict') as f:\n"
                "  d = [json.loads(line) for line in f.read().split('\\n') if line]\n"
                "print(" +
                    expression + ")\n");
  Shell("python3 .py >.answer 2>&1");
  std::string answer = scratch.Read(".answer");
  if (answer.ends_with('\n')) answer.pop_back();
  return answer;
}

}  // namespace tavindex::test
