// An independent judge of ISI files, for tests and for the tool isi-check.
//
// What comes in: the bytes of an ISI file, and where wanted the bytes of its data file with a plain
// description of the build (BuildRequest). What goes out: a Report with one line for each fault.
//
//   1. CheckStructure    proves that a file image is a whole and orderly ISI, whatever its data.
//   2. BuildModel        does a whole build in plain memory: it splits the data into records, makes
//                        the keys, sorts them and settles the duplicates.
//   3. ExpectedIsi       turns that model into the file image, byte for byte.
//   4. CompareWithData   holds an ISI against the model of its data, entry by entry.
//
// Nothing is shared with the program: a mistake would have to be made twice, in two ways, to pass.
// Any bytes may be handed in; hostile ones give faults, never a crash or an endless walk.

#ifndef TESTS_CHECKER_ISI_CHECKER_H_
#define TESTS_CHECKER_ISI_CHECKER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "isi_layout.h"

namespace tavindex::test {

// ---- What was found ----------------------------------------------------------------------------

struct Report {
  std::vector<std::string> faults;  // the first kMaxFaults, in the order they were met
  std::uint64_t faultCount = 0;     // all of them
  std::uint64_t entries = 0;
  std::uint64_t nodes = 0;  // with the root
  unsigned levels = 0;      // level of the root plus one
  std::uint64_t listSectors = 0;
  std::uint64_t deletedRecords = 0;

  static constexpr std::size_t kMaxFaults = 100;

  bool Ok() const { return faultCount == 0; }
  void AddFault(std::string text);
  // All faults, one a line: for the message of a failed assertion.
  std::string Text() const;
};

// One key entry as it stands in a node. `lfa` is the stored value: the low half of a byte offset,
// or a record number.
struct ModelEntry {
  std::uint32_t lfa = 0;
  std::uint16_t dupSeq = 0;
  std::uint16_t recLength = 0;
  std::string key;

  bool operator==(const ModelEntry&) const = default;
};

struct HeaderCondition {
  std::uint16_t column = 0;  // counted from 1
  std::uint8_t flag = 0;
  std::uint8_t character = 0;

  bool operator==(const HeaderCondition&) const = default;
};

struct HeaderKeyField {
  std::uint16_t start = 0;  // counted from 0
  std::uint16_t length = 0;

  bool operator==(const HeaderKeyField&) const = default;
};

// Everything an ISI says, decoded.
struct IsiContents {
  ByteOrder order = ByteOrder::kLittle;
  std::uint8_t fileFlags = 0;
  std::uint8_t addrFlags = 0;
  std::uint16_t recordLength = 0;
  std::uint16_t keyLength = 0;
  std::uint32_t dataEnd = 0;
  std::uint32_t deletedListHead = 0;
  std::uint32_t rootNode = 0;
  std::uint32_t reserved24 = 0;
  std::uint32_t spinCounter = 0;
  std::uint32_t recordsIndexed = 0;
  std::uint32_t deletedCount = 0;
  std::vector<HeaderCondition> conditions;  // used ones
  std::vector<HeaderKeyField> keyFields;    // used ones
  std::string dataFileName;
  std::string commandLine;
  std::vector<ModelEntry> entries;     // in key order
  std::vector<std::uint32_t> deleted;  // in file order

  // Records of variable length or with space compression have no numbers, whatever addrFlags says.
  bool RecordNumbers() const;
};

// ---- 1. Structure ------------------------------------------------------------------------------

struct StructureOptions {
  // Besides what every orderly ISI has: the dense shape of a build or a compaction. Every node that
  // something follows is filled to exactly the fill percentage, sectors stand in the order in which
  // they were completed, all list sectors but the open one at 1536 are full, and nothing stands
  // behind the stored command line.
  bool builderShape = false;
  unsigned fillPercent = 100;
};

// `contents`, when given, receives what was decoded, as far as the walk could get.
Report CheckStructure(std::span<const std::byte> isi, const StructureOptions& options = {},
                      IsiContents* contents = nullptr);

// ---- 2. The model of a build -------------------------------------------------------------------

enum class RecordFormat {
  kFixedText,
  kVariableText,    // option v
  kCompressedText,  // option s
  kBinary,          // option f: no end-of-record mark
  kBinaryWithEor,   // option g
};

enum class EorKind { kCr, kCrLf, kLf, kLfCr };

// The marks of a data file: `kind` 0 to 3 as in EorKind, 4 nothing found, 5 none (option f).
struct EorFormat {
  int kind = 4;
  unsigned length = 1;
  std::uint8_t first = '\n';
  std::uint8_t second = 0;
  std::uint8_t fileFlags = 0;  // bits 0x40 and 0x80 of the header
  bool operator==(const EorFormat&) const = default;
};

// Columns counted from 1, both inclusive; `from` above `to` takes them downwards.
struct KeyRange {
  unsigned from = 1;
  unsigned to = 1;
};

struct SimpleCondition {
  unsigned column = 1;
  bool equal = true;  // "=" or "#"
  char value = ' ';
};

enum class Operator { kLess, kGreater, kEqual, kNotEqual, kLessEqual, kGreaterEqual };
enum class Connector { kFirst, kAnd, kOr };

struct CompoundTerm {
  Connector connector = Connector::kFirst;
  unsigned column = 1;
  Operator op = Operator::kEqual;
  std::string value;
};

struct CompoundCondition {
  bool select = true;  // "=" selects the records for which it is true, "#" the others
  std::vector<CompoundTerm> terms;
};

using Condition = std::variant<SimpleCondition, CompoundCondition>;

enum class Duplicates {
  kStore,          // d, or no option
  kRefuse,         // n: stored, but the index is given up
  kIgnore,         // n0
  kIgnoreQuietly,  // n$
};

// One build, as the options and key specifications ask for it.
struct BuildRequest {
  RecordFormat format = RecordFormat::kFixedText;
  // Unset: found from the end of the data, as the program finds it.
  std::optional<EorKind> eor;
  // The Lnnn field, or the number behind f or g: without end-of-record bytes, 0 when not given.
  unsigned declaredLength = 0;
  std::vector<KeyRange> keys;  // in command-line order
  bool upperCase = false;
  bool expandTabs = true;
  std::vector<Condition> conditions;  // in command-line order
  Duplicates duplicates = Duplicates::kStore;
  bool writeAll = false;  // option w, a header bit and nothing else
  unsigned fillPercent = 100;
  // Addresses are record numbers. A fixed-length data file of 4 GiB or more has them always; this
  // asks for them with a small one.
  bool recordNumbers = false;
};

// Results of a build that leaves no index behind (0 when it leaves one).
inline constexpr int kResultWrongMark = -5;
inline constexpr int kResultWrongFormat = -10;
inline constexpr int kResultTreeLimit = -13;
inline constexpr int kResultBinarySize = -127;
inline constexpr int kResultNullFile = -151;
inline constexpr int kResultNoRecordLength = -160;
inline constexpr int kResultRecordTooLong = -161;

// What a build over the data gives.
struct IndexModel {
  int result = 0;  // when it is not 0, the other members are filled as far as the build came
  std::vector<ModelEntry> entries;     // in key order
  std::vector<std::uint32_t> deleted;  // in file order; offsets or record numbers
  EorFormat eor;
  unsigned keyLength = 0;
  unsigned recordLength = 0;  // as the header has it, without end-of-record bytes
  unsigned stride = 0;        // with them
  bool recordNumbers = false;
  std::uint64_t dataEnd = 0;         // the header's value before it is cut to 32 bits
  std::uint64_t recordsIndexed = 0;  // records that met the conditions, ignored duplicates too
  std::uint64_t dupCount = 0;
  std::uint64_t ignoredDupCount = 0;
  bool tabsExpanded = false;
  bool shortRecordSeen = false;
  bool longRecordSeen = false;
  bool variableLengthSeen = false;
  bool variableAfterDeleted = false;  // still set when nothing but a run of NULs was irregular
  std::uint8_t fileFlags = 0;
};

// The marks and, for fixed text without a declared length, the length of the last record with its
// mark (0 when there is none).
struct DetectedFormat {
  EorFormat eor;
  unsigned recordLength = 0;
};
DetectedFormat DetectFormat(std::span<const std::byte> data, const BuildRequest& request);

IndexModel BuildModel(std::span<const std::byte> data, const BuildRequest& request);
std::vector<ModelEntry> ExpectedEntries(std::span<const std::byte> data,
                                        const BuildRequest& request);

// ---- 3. The file image -------------------------------------------------------------------------

struct HeaderRequest {
  std::string dataFileName;
  std::string commandLine;  // kept in the header when it has at most 527 characters
  std::uint8_t osType = 0;  // 0, 0x08 (o=1) or 0x10 (o, o=2)
  // The program builds little-endian files only; big-endian images are input for compactions.
  ByteOrder order = ByteOrder::kLittle;
};

// The whole file, also the bytes behind the last entry of a node, which no reader looks at. Empty
// when the model's result is not 0.
std::vector<std::byte> ExpectedIsi(const IndexModel& model, const BuildRequest& request,
                                   const HeaderRequest& header);

// Names the first differing bytes of two images, each with the place it stands in.
Report CompareImages(std::span<const std::byte> actual, std::span<const std::byte> expected);

// ---- 4. An ISI and its data --------------------------------------------------------------------

struct CompareOptions {
  // A compaction drops the deleted-record list of an irregular data file (fileFlags 0x20).
  bool compacted = false;
  StructureOptions structure;
};

// CheckStructure, and then header values, deleted records and entries against the model.
Report CompareWithData(std::span<const std::byte> isi, std::span<const std::byte> data,
                       const BuildRequest& request, const CompareOptions& options = {});

}  // namespace tavindex::test

#endif  // TESTS_CHECKER_ISI_CHECKER_H_
