#include "setup/open_data_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>

#include "common/console.h"
#include "common/file.h"
#include "common/interrupt_guard.h"
#include "common/system_calls.h"
#include "isi/tree_reader.h"
#include "names/output_file.h"
#include "names/path_parts.h"
#include "names/resolve.h"
#include "setup/detect_eor.h"
#include "sort/input_buffer.h"

namespace tavindex {

namespace {

constexpr std::size_t kMaxStoredName = 255;
constexpr std::int64_t kFourGiB = std::int64_t{1} << 32;

Result Refuse(RunContext& run, Result code, const char* text, const PathText& name) {
  Compose(run, "%s%s", text, name.CStr());
  return code;
}

Result RefuseOutput(RunContext& run) {
  const Result result =
      Refuse(run, kOutputNotCreated, "Can't create output file ", run.files.outputFileName);
  // A cleared name tells the clean-up that there is no file of this run to remove.
  run.files.outputFileName.Clear();
  return result;
}

Result RefuseOutputIsInput(RunContext& run) {
  run.files.outputFileName.Clear();
  return kOutputIsInput;
}

// The name must fit the header's field of 256 bytes.
Result CheckNameLength(RunContext& run) {
  const FileNameParts& parts = run.names.dataParts;
  std::size_t length = parts.base.Size() + parts.extension.Size();
  if (run.options.discardPath) {
    if (length <= kMaxStoredName) return kOk;
    Compose(run, "Filename+Extension size limited to 255 characters with 'z' option!");
    return kFileNameOver255;
  }
  length += parts.directory.Size();
  if (!run.options.noDrive) length += parts.drive.Size();
  if (length <= kMaxStoredName) return kOk;
  Compose(run, "Full Path+Filename+Extension size limited to 255 characters without 'z' option!");
  return kFullPathOver255;
}

Result ResolveData(RunContext& run) {
  if (!ResolveDataName(run)) {
    return Refuse(run, kSourceNameUnresolved, "Unable to resolve name for source file ",
                  run.files.dataFileName);
  }
  return run.options.CompactRun() ? kOk : CheckNameLength(run);
}

// The front of the ISI is checked before any output is created, so that a wrong name never costs a
// file.
Result CheckCompactInput(RunContext& run) {
  TreeReader reader;
  const char* name = run.files.dataFileName.CStr();
  const Result result = ReadFront(reader, run.files.inputFd);
  if (result == kBadIsiVersion) {
    Compose(run, "Invalid ISI version to compact file named:  %s.", name);
  } else if (result != kOk) {
    Compose(run, "Not a valid .isi file structure for file: %s.", name);
  }
  FindStoredFile(run, reader.header.dataFileName.View(), run.compact.indexedFileName);
  return result;
}

Result OpenIsiForCompact(RunContext& run) {
  FileState& files = run.files;
  const bool exclusive =
      !run.options.compactLocking && (run.options.compactFlags & kExclusiveOpen) != 0;
  files.inputFd = OpenRegularFile(files.lastOpenPath.CStr(), O_RDWR | (exclusive ? O_EXCL : 0));
  if (files.inputFd >= 0) return CheckCompactInput(run);
  Compose(run, "Unable to open input ISI file for compact: %s\n", files.dataFileName.CStr());
  return kSourceNotOpened;
}

// A missing data file is created empty; an index over it is a null file's.
void CreateEmptyData(RunContext& run) {
  const InterruptGuard guard;
  FileState& files = run.files;
  files.inputFd =
      OpenFile(files.lastOpenPath.CStr(), O_RDWR | O_CREAT | O_EXCL | O_TRUNC, kReadWriteAll);
  files.createdInput = files.inputFd >= 0;
}

Result OpenData(RunContext& run) {
  FileState& files = run.files;
  files.lastOpenPath = files.dataFileName;
  if (run.options.CompactRun()) return OpenIsiForCompact(run);
  files.inputFd = OpenRegularFile(files.lastOpenPath.CStr(), O_RDONLY);
  const bool mayCreate = !run.options.quitIfNotOpened && !run.rebuild.rebuildRun;
  if (files.inputFd < 0 && mayCreate) CreateEmptyData(run);
  if (files.inputFd < 0) {
    return Refuse(run, kSourceNotOpened, "Can't open source file ", files.dataFileName);
  }
  return kOk;
}

Result TakeFileSize(RunContext& run) {
  if (run.options.CompactRun()) return kOk;
  run.data.fileSize = FileSize(run.files.inputFd);
  if (run.data.fileSize < kFourGiB) return kOk;
  if (run.options.variableRecords) return kFileTooLarge;
  run.isi.recordNumberMode = true;
  return kOk;
}

const char* KindName(EorKind kind) {
  switch (kind) {
    case EorKind::kCr:
      return "CR.\n\r";
    case EorKind::kCrLf:
      return "CRLF.\n\r";
    case EorKind::kLf:
      return "LF.\n\r";
    case EorKind::kLfCr:
      return "LFCR.\n\r";
    case EorKind::kOsDefault:
      return "OS DEFAULT (LF)'.\n\r";  // the stray quote is part of it
    default:
      return "not defined.\n\r";
  }
}

Result CheckRecordLength(RunContext& run) {
  const bool known = run.options.variableRecords || run.data.recordLength != 0 ||
                     run.options.declaredRecordLength != 0;
  if (!known) {
    return Refuse(
        run, kRecordLengthUnknown,
        "Unable to determine record length for fixed record length file: ", run.files.dataFileName);
  }
  const std::uint32_t limit = UINT16_MAX - std::uint32_t{run.data.eorLength};
  return run.data.recordLength > limit ? kRecordTooLong : kOk;
}

Result FindRecordFormat(RunContext& run) {
  if (run.options.CompactRun()) return kOk;
  EorKind kind = EorKind::kNotDefined;
  if (run.options.binaryPlain) {
    run.data.eorLength = 0;
  } else {
    kind = DetectEOR(run, run.files.inputFd);
  }
  if (kind == EorKind::kFailed || run.data.fileSize < 0) {
    return Refuse(run, kSourceSizeUnknown,
                  "Unable to determine file size for input file: ", run.files.dataFileName);
  }
  run.data.eorFlags = EorFlags(kind, run.data.eorChar1);
  if (const Result result = CheckRecordLength(run); result != kOk) return result;
  if (run.options.binaryWithEor) run.data.trailerLength = run.data.eorLength;
  ShowDebug(run, "Opened %s as input file\n", run.files.dataFileName.CStr());
  ShowDebug(run, "Expected End of Record for data file is ");
  ShowDebug(run, "%s", KindName(kind));
  return kOk;
}

// The record length on the command line is without the end-of-record mark; from here on it is
// with it. A binary record with a mark holds it as its own last bytes.
Result ApplyDeclaredLength(RunContext& run) {
  if (run.options.CompactRun() || run.options.declaredRecordLength == 0) return kOk;
  run.options.declaredRecordLength += run.data.eorLength;
  const std::uint32_t declared = run.options.declaredRecordLength;
  if (run.options.binaryWithEor) {
    run.data.recordLength = declared;
    run.data.eorLength = 0;
  }
  if (run.data.recordLength == 0) run.data.recordLength = declared;
  if (!run.options.binaryRecords || declared == 0) return kOk;
  return run.data.fileSize % declared == 0 ? kOk : kBadFileLength;
}

bool SameBaseAndExtension(const RunContext& run) {
  const FileNameParts& data = run.names.dataParts;
  const FileNameParts& index = run.names.indexParts;
  return data.base.View() == index.base.View() && data.extension.View() == index.extension.View();
}

Result ResolveIndex(RunContext& run) {
  if (!ResolveIndexParts(run)) {
    const Result result =
        Refuse(run, kOutputNameUnresolved, "Unable to resolve name for output file ",
               run.files.outputFileName);
    run.files.outputFileName.Clear();
    return result;
  }
  if (SameBaseAndExtension(run)) {
    if (!run.options.CompactRun()) return RefuseOutputIsInput(run);
    // The ISI that is rewritten is the one named first, whatever directory stands in the second.
    run.options.compactInPlace = true;
    run.files.outputFd = run.files.inputFd;
    run.files.outputFileName = run.files.dataFileName;
    return kOk;
  }
  if (!MakePath(run, run.names.indexParts, run.files.outputFileName)) return RefuseOutput(run);
  return kOk;
}

bool MakeErrorName(RunContext& run) {
  FileNameParts parts = run.names.indexParts;
  parts.extension.Assign(".ERR");
  return MakePath(run, parts, run.files.errorFileName);
}

Result RefuseErrorFile(RunContext& run) {
  return Refuse(run, kOutputNotCreated, "Can't create output file ", run.files.errorFileName);
}

// Whether `path` is the data file of the ISI under compaction.
bool IsIndexedFile(const RunContext& run, const char* path) {
  return run.options.CompactRun() && IsSameFile(path, run.compact.indexedFileName.CStr());
}

Result IndexNotCreated(RunContext& run) {
  // The data file it is, not the index: other programs of the system expect it open to all then.
  systemCalls.chmod(run.files.dataFileName.CStr(), kReadWriteAll);
  return RefuseOutput(run);
}

// Looks, before anything is created, at what the index's name and the error file's name refer to.
Result CheckIndexName(RunContext& run) {
  const FileState& files = run.files;
  const char* path = files.outputFileName.CStr();
  struct stat status;
  if (LookAt(path, status) == PathState::kUnknown) return IndexNotCreated(run);
  const int data[] = {files.inputFd};
  if (IsOneOf(path, data) || IsIndexedFile(run, path)) return RefuseOutputIsInput(run);
  const int others[] = {files.workFd1, files.workFd2, run.console.consoleFd};
  return !IsRegularOrAbsent(path) || IsOneOf(path, others) ? RefuseOutput(run) : kOk;
}

bool WantsErrorFile(const RunContext& run) {
  return run.options.errorFileWanted && !run.options.CompactRun();
}

Result CheckErrorName(RunContext& run) {
  if (!WantsErrorFile(run)) return kOk;
  const FileState& files = run.files;
  if (!MakeErrorName(run)) return RefuseErrorFile(run);
  const char* path = files.errorFileName.CStr();
  const int others[] = {files.inputFd, files.workFd1, files.workFd2, run.console.consoleFd};
  const bool isIndex = files.errorFileName.View() == files.outputFileName.View() ||
                       IsSameFile(path, files.outputFileName.CStr());
  const bool clash = isIndex || !IsRegularOrAbsent(path) || IsOneOf(path, others);
  return clash ? RefuseErrorFile(run) : kOk;
}

Result CreateIndex(RunContext& run) {
  FileState& files = run.files;
  const InterruptGuard guard;
  files.lastOpenPath = files.outputFileName;
  files.outputFd = CreateOutputFile(files.lastOpenPath.CStr());
  return files.outputFd >= 0 ? kOk : IndexNotCreated(run);
}

Result CreateIndexFile(RunContext& run) {
  if (!run.options.compactInPlace) {
    if (const Result result = CheckIndexName(run); result != kOk) return result;
    if (const Result result = CheckErrorName(run); result != kOk) return result;
    if (const Result result = CreateIndex(run); result != kOk) return result;
  }
  const char* format = run.options.CompactRun() ? "Compact mode using " : "Created ";
  ShowDebug(run, "%s%s as output file\n", format, run.files.outputFileName.CStr());
  return kOk;
}

Result CreateErrorFile(RunContext& run) {
  if (!WantsErrorFile(run)) return kOk;
  FileState& files = run.files;
  const InterruptGuard guard;
  files.lastOpenPath = files.errorFileName;
  // A link may lead to the index, which was not there when the name was looked at.
  const int index[] = {files.outputFd};
  if (IsOneOf(files.lastOpenPath.CStr(), index)) return RefuseErrorFile(run);
  files.errorFd = OpenFile(files.lastOpenPath.CStr(), O_RDWR | O_CREAT | O_TRUNC, kReadWriteAll);
  if (files.errorFd < 0) return RefuseErrorFile(run);
  ShowDebug(run, "Created %s as error file\n", files.errorFileName.CStr());
  return kOk;
}

Result PrimeInput(RunContext& run) {
  if (run.options.CompactRun()) return kOk;
  run.scan.bufferFilePos = 0;
  if (fillInputBuffer(run, run.files.inputFd) != kInputReadFailed) return kOk;
  return Refuse(run, kInputNotPrimed,
                "Invalid number of bytes read from input file: ", run.files.dataFileName);
}

}  // namespace

Result OpenDataFile(RunContext& run) {
  constexpr Result (*kSteps[])(RunContext&) = {
      ResolveData,         OpenData,        TakeFileSize,    FindRecordFormat, ResolveIndex,
      ApplyDeclaredLength, CreateIndexFile, CreateErrorFile, PrimeInput,
  };
  for (const auto step : kSteps) {
    if (const Result result = step(run); result != kOk) return result;
  }
  return kOk;
}

}  // namespace tavindex
