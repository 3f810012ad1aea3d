#include "isi/build_header.h"

#include <algorithm>
#include <string_view>

#include "isi/tree_builder.h"

namespace tavindex {

namespace {

std::uint8_t FileFlags(const RunContext& run) {
  const OptionState& options = run.options;
  unsigned flags = run.data.eorFlags;
  if (options.writeAllAtEnd) flags |= kWriteAllRecords;
  if (options.variableRecords) flags |= kVariableLength | kIrregularRecords;
  if (options.spaceCompAllowed) flags |= kSpaceCompression | kIrregularRecords;
  if (options.rejectDups) flags |= kNoDuplicates;
  if (options.binaryPlain) flags |= kBinaryData;
  if (run.data.variableLengthSeen || run.data.tabsExpanded) flags |= kIrregularRecords;
  return static_cast<std::uint8_t>(flags);
}

// The stride of the records in the data file is kept; the header's length is without their marks.
// TABs can make the longest record longer than the header can tell.
std::uint16_t HeaderRecordLength(const DataState& data) {
  const std::uint32_t marks = std::uint32_t{data.eorLength} + data.trailerLength;
  const std::uint32_t length = data.recordLength - std::min(marks, data.recordLength);
  return static_cast<std::uint16_t>(std::min<std::uint32_t>(length, UINT16_MAX));
}

std::uint32_t DataEnd(const RunContext& run) {
  const std::uint64_t end = run.scan.nextLfa;
  return static_cast<std::uint32_t>(run.isi.recordNumberMode ? end / run.data.recordLength : end);
}

std::string_view StoredDataName(const RunContext& run) {
  std::string_view name = run.files.dataFileName.View();
  if (run.options.discardPath) return name.substr(name.rfind('/') + 1);
  const auto isLetter = [](char c) { return (c | 32) >= 'a' && (c | 32) <= 'z'; };
  if (name.size() >= 2 && name[1] == ':' && isLetter(name[0])) name.remove_prefix(2);
  return name;
}

}  // namespace

IsiHeader BuildHeader(const RunContext& run) {
  IsiHeader fields;
  fields.fileFlags = FileFlags(run);
  fields.addrFlags = static_cast<std::uint8_t>(run.options.osType |
                                               (run.isi.recordNumberMode ? kRecordNumbers : 0));
  fields.recordLength = HeaderRecordLength(run.data);
  fields.keyLength = static_cast<std::uint16_t>(run.keys.keyLength);
  fields.dataEnd = DataEnd(run);
  fields.deletedListHead = run.isi.deletedListHead;
  fields.rootNode = AddressOf(run, kRootOffset);
  fields.recordsIndexed = static_cast<std::uint32_t>(run.scan.recordCount);
  fields.deletedCount = run.scan.deletedCount;
  fields.conditionTable = run.keys.conditionTable;
  std::copy(run.keys.keyTable.begin(), run.keys.keyTable.end(), fields.keyTable.begin());
  fields.dataFileName.Assign(StoredDataName(run));
  // A line that does not fit is not kept at all: a cut one would rebuild another index.
  const std::string_view line = run.options.buildLine.View();
  if (line.size() < header::kCommandLineSize) fields.commandLine.Assign(line);
  return fields;
}

}  // namespace tavindex
