#include "driver/run_driver.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <vector>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "common/usage.h"
#include "driver/arguments.h"
#include "driver/clean_up.h"
#include "driver/compact_branch.h"
#include "driver/elapsed_time.h"
#include "driver/log_option.h"
#include "driver/messages.h"
#include "driver/pre_options.h"
#include "driver/sort_command.h"
#include "driver/version.h"
#include "isi/build_index.h"
#include "isi/isi_format.h"
#include "setup/set_up_run.h"
#include "sort/sort_trains.h"
#include "sort/tag_record.h"

namespace tavindex {

namespace {

// A context allocated here belongs to runContext until ReleaseContext.
bool contextAllocated = false;

bool ClearContext() {
  const InterruptGuard guard;
  if (runContext == nullptr) {
    runContext = new (std::nothrow) RunContext;
    contextAllocated = runContext != nullptr;
    return contextAllocated;
  }
  std::destroy_at(runContext);
  std::construct_at(runContext);
  return true;
}

void SelectCommand(RunContext& run, bool sortCommand) {
  run.control.sortMode = sortCommand;
  run.control.indexMode = !sortCommand;
  run.control.commandWord = sortCommand ? "SORT" : "INDEX";
}

void SelectConsole(RunContext& run, std::FILE* console) {
  run.console.consoleStream = console;
  run.console.consoleFd = console == nullptr ? kNoFile : ::fileno(console);
  run.console.logOpened = false;
}

// Unbuffered before the first byte goes to it, so that what is shown is out when the run stops.
void StartConsole(RunContext& run, const Arguments& arguments) {
  std::FILE* stream = run.console.consoleStream;
  if (stream == nullptr) return;
  std::setvbuf(stream, nullptr, _IONBF, 0);
  if (::isatty(run.console.consoleFd) == 0) {
    run.console.progressOn = false;
    EchoArguments(run, arguments);
  }
  ShowFormatted(run, "\nTAVENOR %s COMMAND   %s", run.control.commandWord, kVersionText);
  ShowFormatted(run, "\n%s\n", kNoticeText);
}

Result AllocateBuffers(RunContext& run) {
  const bool allocated = run.writer.ioBuffer.Allocate(kIoBufferSize) &&
                         run.scan.inputBuffer.AllocateZeroed(kInputBufferSize) &&
                         run.control.commandLine.AllocateZeroed(kCommandLineSize);
  if (!allocated) {
    ShowMessage(run, "Insufficient Memory for Buffers.\n");
    return kNoMemory;
  }
  run.scan.spareArea = run.scan.inputBuffer.Data() + kSpareAreaOffset;
  return kOk;
}

// Leaves a run that has opened no files yet.
Result LeaveEarly(RunContext& run, Result code) {
  CloseLog(run);
  FreeBuffers(run);
  return code;
}

Result LeaveAborted(RunContext& run, Result code) {
  CleanUp(run, Ending::kAbort);
  FreeBuffers(run);
  return code;
}

Result LeaveSetUp(RunContext& run, Result code) {
  if (code != kInformationShown && code != kUsageShown) {
    ShowSetUpFailure(run, code);
    return LeaveAborted(run, code);
  }
  CleanUp(run, Ending::kNormal);
  CloseLog(run);
  FreeBuffers(run);
  return code == kInformationShown ? kOk : kEndingFailed;
}

void ShowIniFile(RunContext& run) {
  if (run.names.iniFileName.Empty()) {
    ShowDebug(run, "INI file NOT USED!\n");
  } else {
    ShowDebug(run, "Using INI file: '%s'\n", run.names.iniFileName.CStr());
  }
}

Result SetUp(RunContext& run, const Arguments& arguments) {
  if (!JoinCommandLine(run, arguments)) return kCommandLineIncomplete;
  ShowIniFile(run);
  return SetUpRun(run, reinterpret_cast<const char*>(run.control.commandLine.Data()));
}

void InstallConsumers(RunContext& run) {
  run.isi.itemSource = SortTrains;
  if (run.control.indexMode) {
    run.control.recordWritingLevel = 1;
    run.sort.itemConsumer = WriteTagRecord;
  } else if (run.control.recordWritingLevel == 1) {
    run.control.recordWritingLevel = run.sort.itemSize;
  }
}

// The train table and the sort memory. A compaction knows its key length, and so
// the size of its items, only when it has read the ISI.
Result ObtainSortMemory(RunContext& run) {
  SortState& sort = run.sort;
  sort.itemSize = run.keys.keyLength + kItemTailSize;
  InstallConsumers(run);
  const std::size_t trains = static_cast<std::size_t>(run.control.maxSortTrains) + 1;
  if (!sort.trainTable.Allocate(trains * sizeof(std::uint64_t))) {
    ShowMessage(run, "Sort train memory allocation failed.\n");
    return kNoMemory;
  }
  sort.sortAreaSize = GetSortMemory(run, run.control.maxMemory);
  const bool enough =
      sort.sortAreaSize != 0 && (run.options.CompactRun() || SizeSortArea(run, run.keys.keyLength));
  if (enough) return kOk;
  ShowMessage(run, "Memory allocation failed.\n");
  return kNoMemory;
}

void RemovePartialOutput(RunContext& run) {
  if (run.files.outputFd < 0) return;
  const InterruptGuard guard;
  CloseFile(run.files.outputFd);
  run.files.lastOpenPath = run.files.outputFileName;
  RemoveFile(run.files.lastOpenPath.CStr());
}

Result BuildBranch(RunContext& run) {
  const std::uint32_t keyLength = run.keys.keyLength;
  const Result result = run.control.sortMode ? RunSortCommand(run)
                                             : BuildIndex(run, keyLength, entry::Size(keyLength));
  if (result == kOk) return kOk;
  RemovePartialOutput(run);
  ShowBuildFailure(run, result);
  return result;
}

// Whether the data file is one that this run made for its index, and still empty.
bool InputIsUnused(const FileState& files) {
  struct stat status;
  return files.createdInput && files.inputFd >= 0 && StatFile(files.inputFd, status) &&
         status.st_size == 0;
}

// Closes what the run had open, removes its work files, and gives its memory back.
Result CloseRun(RunContext& run, Result result) {
  FileState& files = run.files;
  const bool inPlace = files.outputFd >= 0 && files.outputFd == files.inputFd;
  {
    const InterruptGuard guard;
    if (!CloseFile(files.outputFd)) {
      ShowMessage(run, "Close(outfile) failed.\n");
      result = kEndingFailed;
    }
    if (inPlace) files.inputFd = kNoFile;
    const bool unused = InputIsUnused(files);
    if (!CloseFile(files.inputFd)) {
      ShowMessage(run, "Close(infile) failed.\n");
      result = kEndingFailed;
    }
    if (unused && result != kOk) RemoveFile(files.dataFileName.CStr());
  }
  CleanUp(run, Ending::kNormal);
  if (run.control.sortMode && result == kOk && run.control.replaceInput) {
    result = ReplaceInputFile(run);
  }
  FreeBuffers(run);
  return result;
}

// Duplicates in a file whose short records or TABs the options did not allow for are not blamed
// on the data: the test is uneven on purpose.
bool DataWasWrong(const RunContext& run) {
  if (run.data.longRecordSeen) return true;
  const OptionState& options = run.options;
  const bool duplicates = options.rejectDups && static_cast<std::uint32_t>(run.isi.dupCount) != 0;
  return duplicates && (options.variableRecords || !run.data.shortRecordSeen) &&
         (options.spaceCompAllowed || !run.data.tabsExpanded);
}

// Gives up an error file without lines, and an index over data that it cannot describe.
Result FinishIndex(RunContext& run, Result result) {
  FileState& files = run.files;
  if (files.errorFd >= 0) {
    CloseFile(files.errorFd);
    if (run.isi.dupCount == 0) RemoveFile(files.errorFileName.CStr());
  }
  if (run.options.CompactRun() || !DataWasWrong(run)) return result;
  ShowMessage(run, "Data file is not in the correct format.  Index file will be deleted.\n");
  RemoveFile(files.outputFileName.CStr());
  return kWrongDataFormat;
}

void ShowTimes(RunContext& run, std::time_t start) {
  const std::time_t stop = std::time(nullptr);
  const ClockText startText = ClockTime(start);
  const ClockText stopText = ClockTime(stop);
  ClockText elapsed;
  FormatElapsed(stop - start, elapsed);
  ShowFormatted(run, "Start time = %s  Stop time = %s  Elapsed time = %s\n", startText.data(),
                stopText.data(), elapsed.data());
}

Result RunCommand(RunContext& run, const Arguments& arguments, std::time_t start) {
  if (const Result result = SetUp(run, arguments); result != kOk) return LeaveSetUp(run, result);
  if (const Result result = ObtainSortMemory(run); result != kOk) return LeaveAborted(run, result);
  Result result = run.options.CompactRun() ? CompactBranch(run) : BuildBranch(run);
  result = CloseRun(run, result);
  if (run.control.indexMode) result = FinishIndex(run, result);
  if (result == kOk) ShowTimes(run, start);
  CloseLog(run);
  return result;
}

Result RunWithArguments(RunContext& run, Arguments& arguments) {
  ReadLogOption(run, arguments);
  StartConsole(run, arguments);
  if (arguments.count <= 1) {
    ShowUsage(run);
    return LeaveEarly(run, kUsageShown);
  }
  const std::time_t start = std::time(nullptr);
  if (const Result result = AllocateBuffers(run); result != kOk) return LeaveEarly(run, result);
  if (const Result result = ReadPreOptions(run, arguments); result != kOk) {
    return LeaveEarly(run, result);
  }
  return RunCommand(run, arguments, start);
}

// The program's own arguments in the form of a token list.
std::vector<Token> TokensOf(int argc, char** argv) {
  std::vector<Token> tokens;
  tokens.reserve(static_cast<std::size_t>(argc));
  for (int i = 0; i < argc; ++i) tokens.push_back({.text = argv[i], .kind = TokenKind::kNone});
  return tokens;
}

}  // namespace

void SetDefaults(RunContext& run) {
  // Everything else has its default from its declaration. An end marker stands for the item
  // before the first train.
  run.sort.lastTrainItem.fill(0xFF);
}

Result RunDriver(int argc, char** argv, char* commandLineText, [[maybe_unused]] int reserved,
                 std::FILE* console, bool sortCommand) {
  if (!ClearContext()) return kNoMemory;
  RunContext& run = *runContext;
  SelectCommand(run, sortCommand);
  SetDefaults(run);
  SelectConsole(run, console);
  if (commandLineText == nullptr) {
    const std::vector<Token> tokens = TokensOf(argc, argv);
    Arguments arguments{.tokens = tokens.data(), .count = tokens.size()};
    return RunWithArguments(run, arguments);
  }
  TokenList list;
  SplitCommandLine(run.control.commandWord, SkipProgramName(commandLineText), list);
  Arguments arguments{.tokens = list.tokens.data(), .count = list.count, .fromText = true};
  return RunWithArguments(run, arguments);
}

void ReleaseContext() {
  if (!contextAllocated) return;
  delete runContext;
  runContext = nullptr;
  contextAllocated = false;
}

}  // namespace tavindex
