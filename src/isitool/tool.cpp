#include "isitool/tool.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "driver/version.h"
#include "isitool/check.h"
#include "isitool/dump.h"
#include "isitool/find.h"
#include "isitool/info.h"
#include "isitool/isi_file.h"
#include "isitool/map.h"
#include "isitool/stat.h"
#include "isitool/text.h"
#include "isitool/usage.h"

namespace tavindex {

namespace {

struct CommandRun {
  Command command;
  bool needsTree;  // info shows, and check tells about, a header that no tree can be read by
  ToolStatus (*run)(const Tool& tool, IsiFile& file);
};

constexpr CommandRun kRuns[] = {
    {Command::kInfo, false, RunInfo}, {Command::kCheck, false, RunCheck},
    {Command::kDump, true, RunDump},  {Command::kFind, true, RunFind},
    {Command::kStat, true, RunStat},  {Command::kMap, true, RunMap},
};

ToolStatus Misuse(const Tool& tool, const std::string& complaint) {
  const std::string text = "isitool: " + complaint + "\nTry 'isitool --help'.\n";
  std::fputs(text.c_str(), tool.err);
  return ToolStatus::kTrouble;
}

ToolStatus RunCommand(const Tool& tool) {
  IsiFile file;
  std::string why;
  if (!OpenIsi(tool.options.file, file, why)) {
    Complain(tool, tool.options.file, why);
    return ToolStatus::kTrouble;
  }
  for (const CommandRun& command : kRuns) {
    if (command.command != tool.options.command) continue;
    if (!command.needsTree || file.fault.empty()) return command.run(tool, file);
    Complain(tool, file.path, file.fault);
  }
  return ToolStatus::kTrouble;
}

ToolStatus Run(Tool& tool, int argc, char** argv) {
  std::string complaint;
  if (!ReadCommandLine(argc, argv, tool.options, complaint)) return Misuse(tool, complaint);
  if (tool.options.help) {
    Print(tool, kToolUsage);
    return ToolStatus::kFine;
  }
  if (tool.options.version) {
    Print(tool, Format("isitool (tavindex) %s\n", kVersionText));
    return ToolStatus::kFine;
  }
  return RunCommand(tool);
}

}  // namespace

void Complain(const Tool& tool, std::string_view name, std::string_view reason) {
  std::fflush(tool.out);  // what was printed before comes first on a terminal
  const std::string text = "isitool: " + Visible(name) + ": " + std::string(reason) + "\n";
  std::fputs(text.c_str(), tool.err);
}

void Print(const Tool& tool, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), tool.out);
}

ToolStatus RunTool(int argc, char** argv, std::FILE* out, std::FILE* err) {
  Tool tool{.out = out, .err = err, .options = {}};
  const ToolStatus status = Run(tool, argc, argv);
  if (std::fflush(out) == 0 && std::ferror(out) == 0) return status;
  Complain(tool, "standard output", std::strerror(errno));
  return ToolStatus::kTrouble;
}

}  // namespace tavindex
