// The one work area of a run. Every buffer, descriptor and counter of the run stands here, grouped
// by the subsystem that owns it, so that a reader sees what a routine may touch. One instance
// exists; it is cleared and given its defaults at the start of every run, and the interrupt
// handler finds through it every file that must be closed and removed.
//
// The way of the data through the groups:
//   options, names   what the command line, the configuration file and the environment said
//   files            every open descriptor and its name
//   keys             the key map and the conditions, compiled
//   data             the record format found in the data file
//   scan             the input buffer and the counters of the record scanner
//   sort, merge      the sort area, the trains and their start table
//   isi              the tree under construction
//   rebuild, compact what those runs keep beside it
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

#include "common/buffer.h"
#include "common/bytes.h"
#include "common/file.h"
#include "common/file_names.h"
#include "common/fixed_text.h"
#include "common/key_records.h"
#include "common/result_codes.h"
#include "common/wait_for_room.h"
#include "common/waiting_lines.h"

namespace tavindex {

struct RunContext;

inline constexpr std::size_t kMessageSize = 8192;
inline constexpr std::size_t kIoBufferSize = 262144;
inline constexpr std::size_t kInputBlockSize = 65536;
inline constexpr std::size_t kSpareAreaOffset = kInputBlockSize + 1;  // behind the look-ahead byte
inline constexpr std::size_t kSpareAreaSize = 160;
inline constexpr std::size_t kInputBufferSize = kSpareAreaOffset + kSpareAreaSize;
inline constexpr std::size_t kCommandLineSize = 577;  // bytes, terminator included
inline constexpr std::uint32_t kDefaultMaxMemory = 1048576;
inline constexpr std::int32_t kDefaultMaxSortTrains = 20000;
inline constexpr std::uint32_t kItemTailSize = 10;  // LFA and record length beside the key
inline constexpr std::uint32_t kMergeCountdownStart = 1000;
inline constexpr std::uint32_t kSectorSize = 512;
inline constexpr std::uint32_t kListCapacity = 126;  // record addresses in one list sector
inline constexpr std::uint32_t kTreeLevels = 16;

// Receives every merged item in final order; any result but kOk ends the merge with it.
using ItemConsumer = Result (*)(RunContext& run, const std::uint8_t* item);
// Delivers every item of the run to the item consumer, sorted.
using ItemSource = Result (*)(RunContext& run);

// Bits of compactFlags.
inline constexpr std::uint32_t kCompactWanted = 1;
inline constexpr std::uint32_t kSkipRangeLock = 2;
inline constexpr std::uint32_t kBackupMade = 4;
inline constexpr std::uint32_t kExclusiveOpen = 8;

struct ConsoleState {
  std::FILE* consoleStream = nullptr;  // where every message goes; null: nothing is printed
  int consoleFd = kNoFile;             // its descriptor, for the interrupt handler
  bool logOpened = false;              // the stream is a log file that the run closes
  bool progressOn = true;
  std::array<char, kMessageSize> messageBuffer{};
  WaitingLines<kRoom> waiting;
};

// What the entry and the pre-options decide; stays through a rebuild's second set-up.
struct ControlState {
  bool indexMode = false;
  bool sortMode = false;
  const char* commandWord = "";
  bool debugMode = false;
  std::uint32_t sortMethod = 0;
  std::uint32_t maxMemory = kDefaultMaxMemory;
  std::int32_t maxSortTrains = kDefaultMaxSortTrains;
  std::uint32_t recordWritingLevel = 0;  // sort mode: bytes of one tag record
  bool replaceInput = false;             // the output takes the input's name at the end
  Buffer commandLine;
};

struct FileState {
  int inputFd = kNoFile;
  int outputFd = kNoFile;
  int errorFd = kNoFile;
  int workFd1 = kNoFile;
  int workFd2 = kNoFile;
  int lockFd = kNoFile;
  int workFile = kNoFile;    // copy of the descriptor that the run writes to
  int mergeInput = kNoFile;  // copy of the descriptor that a merge pass reads
  PathText dataFileName;
  PathText outputFileName;
  PathText errorFileName;
  WorkName workFileName1;
  WorkName workFileName2;
  PathText lastOpenPath;
  bool createdInput = false;  // the data file was not there and was created empty
};

struct NameState {
  FixedText<261> iniFileName;
  std::array<char, 902> iniBuffer{};  // guard byte, 900 bytes of a file, terminator
  std::uint32_t iniBufCount = 0;      // unread bytes
  std::uint32_t iniReadPos = 1;       // index of the first unread byte
  std::uint32_t iniLineStart = 1;     // index of the line returned last
  std::array<char, 4097> envValue{};
  FixedText<32768> searchPath;  // empty when none is set
  bool lowerCaseNames = false;
  char extSeparator = '.';
  FixedText<8> dataExtension;
  FixedText<8> indexExtension;
  FileNameParts dataParts;
  FileNameParts indexParts;
};

// Everything that the file fields and options of a command line set; reset by every set-up.
struct OptionState {
  FixedText<1024> buildLine;   // the command line as given, for the ISI header
  FixedText<1024> parsedLine;  // its copy that the compilers rewrite and conditions refer into
  FixedText<256> workDirectory;
  std::uint32_t declaredRecordLength = 0;
  std::uint32_t compactFlags = 0;
  bool compactLocking = false;
  bool compactInPlace = false;
  bool displayRun = false;  // option i
  bool reindexRun = false;  // option r
  bool discardPath = false;
  bool noDrive = false;
  bool expandTabs = true;
  bool errorFileWanted = false;
  bool errorOptionGiven = false;
  bool rejectDups = false;
  bool ignoreDups = false;
  bool quietDups = false;
  bool quitIfNotOpened = false;
  bool variableRecords = false;
  bool spaceCompAllowed = false;
  bool binaryRecords = false;  // option f or g
  bool binaryPlain = false;    // option f: no end-of-record
  bool binaryWithEor = false;  // option g: end-of-record inside the record
  bool writeAllAtEnd = false;
  bool showRecordProgress = true;
  bool upperCaseKeys = false;
  bool descendingKeys = false;
  char primaryOption = '\0';  // 'p' simple conditions, 'P' the compound form
  std::uint32_t fillPercent = 100;
  std::uint8_t osType = 0;  // bits of the header's addrFlags

  bool CompactRun() const { return compactFlags != 0; }
};

struct KeyState {
  std::array<KeyMapEntry, kMaxKeyMapEntries + 2> keyMap{};  // one overflowing, one terminating
  std::uint32_t keyMapCount = 0;
  std::uint32_t keyLength = 0;                      // bytes
  std::array<KeyRun, kMaxKeyMapEntries> keyRuns{};  // the same map as runs of columns
  std::uint32_t keyRunCount = 0;
  std::array<std::uint16_t, kMaxKeyMapEntries> keyColumns{};  // column of each key byte, from 0
  std::uint32_t keyEnd = 0;  // behind the highest column of the map, from 0
  bool keyIsPlain = false;   // the runs are the whole truth: no condition, no transformation
  std::array<KeyTableEntry, kMaxKeys> keyTable{};
  std::uint32_t keyTableCount = 0;
  std::array<HeaderCondition, kMaxConditions> conditionTable{};
  std::uint32_t conditionTableCount = 0;
  std::array<CompoundTerm, kMaxCompoundTerms + 1> terms{};
  std::uint32_t termCount = 0;
  std::uint8_t conditionCount = 0;  // map entries that test something
  ReformatList reformat;
};

// The record format of the data file.
struct DataState {
  std::uint8_t eorLength = 1;
  std::uint8_t eorChar1 = 10;
  std::uint8_t eorChar2 = 0;
  std::uint8_t eorFlags = 0;
  std::uint8_t trailerLength = 0;  // end-of-record bytes inside a binary record (option g)
  std::uint32_t recordLength = 0;  // with end-of-record bytes; 0 until known
  std::int64_t fileSize = 0;       // bytes, when the file was opened
  // What the scan and the merge noticed.
  bool shortRecordSeen = false;
  bool longRecordSeen = false;
  bool variableLengthSeen = false;
  bool variableAfterDeleted = false;
  bool tabsExpanded = false;
};

struct ScanState {
  Buffer inputBuffer;
  std::uint8_t* spareArea = nullptr;  // kSpareAreaSize bytes of inputBuffer
  std::uint8_t* scanPtr = nullptr;
  std::int32_t bytesInBuffer = 0;
  std::int64_t bufferFilePos = 0;  // of the next block to read
  std::uint32_t lastReadCount = 0;
  std::uint64_t nextLfa = 0;
  std::uint64_t recordCount = 0;
  std::uint32_t deletedCount = 0;
  std::uint64_t outputBytes = 0;
  std::uint32_t itemsLeft = 0;
  std::uint32_t conditionsMet = 0;
  std::uint32_t mapCursor = 0;
  std::uint32_t recordBytesLeft = UINT32_MAX;  // of a binary record, from scanPtr on
  bool readAheadFailed = false;  // a condition asked for bytes behind the block that cannot be read
  bool negativeState = false;
  bool checkLongRecords = false;
  bool fastWalk = true;  // off: every record goes byte by byte, with the same result
  const std::uint8_t* translationTable = nullptr;  // 256 bytes
  std::array<std::uint8_t, kPrimaryKeySize> primaryKey{};
};

struct SortState {
  Buffer sortMemory;
  std::uint8_t* sortMemoryBase = nullptr;
  std::uint32_t sortAreaSize = 0;
  std::uint32_t itemSize = 0;  // bytes
  std::uint32_t maxItems = 0;
  Buffer prefixMemory;  // the prefix table of the area sort, kept for the whole run
  // Off: the plain way, with the same result.
  bool prefixSort = true;
  bool loserTree = true;
  Buffer trainTable;               // 8-byte work-file offsets
  std::uint32_t trainsOpened = 0;  // entries of the table in use
  std::uint32_t trainCount = 0;
  std::int64_t workFilePos = 0;
  std::array<std::uint8_t, kSpareAreaSize> lastTrainItem{};  // an end marker before the first
  ItemConsumer itemConsumer = nullptr;
  std::uint32_t mergeCountdown = kMergeCountdownStart;
};

// The buffered writer that work files and tree nodes share.
struct WriterState {
  Buffer ioBuffer;
  std::size_t used = 0;  // bytes waiting in it
};

struct IsiState {
  ItemSource itemSource = nullptr;
  std::uint32_t entrySize = 0;
  std::uint32_t maxEntries = 0;
  bool recordNumberMode = false;
  Buffer sectors;  // kTreeLevels nodes, then the deleted-record list sector
  std::uint32_t currentLevel = 0;
  std::uint32_t topLevel = 0;
  std::uint64_t nextNodeAddr = 0;
  bool anyEntry = false;  // previousEntry holds an entry
  std::array<std::uint8_t, 164> previousEntry{};
  std::uint32_t deletedListHead = 0;
  std::uint32_t listCount = 0;
  std::uint64_t dupCount = 0;
  std::uint64_t ignoredDupCount = 0;
  WaitingLines<65536> errorLines;
  ByteOrder byteOrder = ByteOrder::kLittle;
};

struct RebuildState {
  bool rebuildRun = false;        // the line being set up came out of an ISI header
  FixedText<257> storedDataName;  // the header's data file name
  PathText isiName;               // the ISI that the line came from
};

// The locks held on the data file of an ISI under compaction.
struct LockRecord {
  int fd = kNoFile;
  std::uint8_t lockFlags = 0;  // 0x80: the range lock is held
  std::int64_t dataSize = 0;   // bytes, when the file was opened
  std::int64_t fileLockPos = 0;
  std::int64_t rangeLockPos = 0;
  std::int64_t lockBase = 0;  // ORed into every range-lock position
};

struct CompactState {
  PathText indexedFileName;  // the data file of the ISI, as its header names it
  LockRecord lock;
  PathText backupName;
  int backupFd = kNoFile;
  Buffer copyBuffer;
};

struct RunContext {
  ConsoleState console;
  ControlState control;
  FileState files;
  NameState names;
  OptionState options;
  KeyState keys;
  DataState data;
  ScanState scan;
  SortState sort;
  WriterState writer;
  IsiState isi;
  RebuildState rebuild;
  CompactState compact;
};

// The instance of the process, for the interrupt handler.
extern RunContext* runContext;

}  // namespace tavindex
