#include "header_check.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstring>
#include <string>
#include <utility>

namespace tavindex::test {
namespace {

using namespace layout;

constexpr unsigned kLastColumn = 65534;

std::size_t ZeroPosition(Bytes text) {
  const auto zero = std::find(text.begin(), text.end(), std::byte{0});
  return static_cast<std::size_t>(zero - text.begin());
}

bool AllZero(Bytes bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; });
}

std::string TextUpToZero(Bytes field) {
  const Bytes text = field.first(ZeroPosition(field));
  std::string result(text.size(), '\0');
  std::transform(text.begin(), text.end(), result.begin(),
                 [](std::byte b) { return static_cast<char>(b); });
  return result;
}

HeaderCondition ConditionSlot(Bytes image, std::size_t slot, ByteOrder order) {
  const std::size_t at = kConditionTable + slot * kSlotSize;
  return {Load16(image, at, order), Load8(image, at + 2), Load8(image, at + 3)};
}

HeaderKeyField KeySlot(Bytes image, std::size_t slot, ByteOrder order) {
  const std::size_t at = kKeyTable + slot * kSlotSize;
  return {Load16(image, at, order), Load16(image, at + 2, order)};
}

class HeaderCheck {
 public:
  HeaderCheck(Bytes image, const IsiContents& contents, const StructureOptions& options,
              Report& report)
      : image_(image), contents_(contents), options_(options), report_(report) {}

  void Run() {
    CheckFlags();
    CheckNumbers();
    CheckUnlistedBytes();
    CheckConditions();
    CheckKeyFields();
    CheckTexts();
  }

 private:
  void Fault(const std::string& text) { report_.AddFault("header: " + text); }
  bool Flag(std::uint8_t bit) const { return (contents_.fileFlags & bit) != 0; }

  void CheckFlags() {
    const bool variable = Flag(kFlagVariable);
    const bool compressed = Flag(kFlagCompressed);
    if (compressed && !variable) Fault("fileFlags: space compression without variable length");
    if (variable && !Flag(kFlagIrregular)) Fault("fileFlags: 0x02 without 0x20");
    if (Flag(kFlagBinary) && (variable || compressed || Flag(kMarkFlags))) {
      Fault("fileFlags: binary data with marks or variable length");
    }
    constexpr unsigned kOsBits = kAddrOs1 | kAddrOs2;
    if ((contents_.addrFlags & ~(kAddrRecordNumbers | kOsBits)) != 0) {
      Fault("addrFlags: unknown bits");
    }
    if ((contents_.addrFlags & kOsBits) == kOsBits) Fault("addrFlags: two operating systems");
  }

  void CheckNumbers() {
    if (contents_.keyLength < 1 || contents_.keyLength > kMaxKeyLength) {
      Fault("keyLength is " + std::to_string(contents_.keyLength));
    }
    if (contents_.RecordNumbers() && contents_.recordLength == 0) {
      Fault("recordLength is 0 in record-number mode");
    }
    const std::uint32_t root = contents_.RecordNumbers() ? 2 : 1024;
    if (contents_.rootNode != root) Fault("rootNode is " + std::to_string(contents_.rootNode));
    if (contents_.reserved24 != kNoAddress) Fault("reserved24 is not all ones");
  }

  void CheckUnlistedBytes() {
    // First byte and count of what lies between the fields.
    static constexpr std::array<std::pair<std::size_t, std::size_t>, 4> kGaps = {
        {{28, 4}, {36, 8}, {52, 12}, {104, 8}}};
    for (const auto& [first, count] : kGaps) {
      for (std::size_t at = first; at < first + count; ++at) {
        if (Load8(image_, at) != 0) Fault("byte " + std::to_string(at) + " is not zero");
      }
    }
  }

  void CheckConditions() {
    const std::size_t used = contents_.conditions.size();
    const std::size_t end = kConditionTable + used * kSlotSize;
    if (!AllZero(image_.subspan(end, (kConditionSlots - used) * kSlotSize))) {
      Fault("conditionTable: an unused entry is not zero");
    }
    unsigned lastColumn = 0;
    for (const HeaderCondition& condition : contents_.conditions) {
      if (condition.column > kLastColumn) Fault("conditionTable: column out of range");
      if (condition.column < lastColumn) Fault("conditionTable: columns do not ascend");
      lastColumn = condition.column;
      if (condition.flag != kConditionEqual && condition.flag != kConditionNotEqual) {
        Fault("conditionTable: unknown condition flag");
      }
    }
  }

  void CheckKeyFields() {
    const std::size_t used = contents_.keyFields.size();
    if (used == 0) Fault("keyTable is empty");
    if (used > kMaxKeyFields) Fault("keyTable: more than 31 entries");
    const std::size_t end = kKeyTable + used * kSlotSize;
    if (!AllZero(image_.subspan(end, (kKeySlots - used) * kSlotSize))) {
      Fault("keyTable: an unused entry is not zero");
    }
    CheckKeyColumns();
  }

  void CheckKeyColumns() {
    std::bitset<kLastColumn> taken;
    std::size_t total = 0;
    for (const HeaderKeyField& field : contents_.keyFields) {
      total += field.length;
      if (field.start + field.length > static_cast<int>(kLastColumn)) {
        Fault("keyTable: column out of range");
        continue;
      }
      for (unsigned i = 0; i < field.length; ++i) {
        if (taken.test(field.start + i)) return Fault("keyTable: fields overlap");
        taken.set(field.start + i);
      }
    }
    if (total != contents_.keyLength) Fault("keyTable: lengths do not add up to keyLength");
  }

  void CheckTexts() {
    const Bytes name = image_.subspan(kDataFileName, kDataFileNameSize);
    const std::size_t nameLength = ZeroPosition(name);
    if (nameLength == 0) Fault("dataFileName is empty");
    if (!AllZero(name.subspan(nameLength))) Fault("dataFileName: bytes behind its end");
    const Bytes line = image_.subspan(kCommandLine, kCommandLineSize);
    const std::size_t lineLength = ZeroPosition(line);
    if (lineLength == kCommandLineSize) Fault("commandLine has no end");
    if (options_.builderShape && !AllZero(line.subspan(lineLength))) {
      Fault("commandLine: bytes behind its end");
    }
  }

  Bytes image_;
  const IsiContents& contents_;
  const StructureOptions& options_;
  Report& report_;
};

}  // namespace

bool RecogniseHeader(Bytes image, IsiContents& contents, Report& report) {
  if (std::memcmp(image.data() + kSignature, "KISI", 4) != 0) {
    report.AddFault("header: wrong signature");
    return false;
  }
  const std::uint8_t version = Load8(image, kVersion);
  const std::uint8_t check = Load8(image, kVersionCheck);
  if (version == kVersionLow && check == kVersionHigh) {
    contents.order = ByteOrder::kLittle;
  } else if (version == kVersionHigh && check == kVersionLow) {
    contents.order = ByteOrder::kBig;
  } else {
    report.AddFault("header: unknown version");
    return false;
  }
  return true;
}

void DecodeHeader(Bytes image, IsiContents& contents) {
  const ByteOrder order = contents.order;
  contents.fileFlags = Load8(image, kFileFlags);
  contents.addrFlags = Load8(image, kAddrFlags);
  contents.recordLength = Load16(image, kRecordLength, order);
  contents.keyLength = Load16(image, kKeyLength, order);
  contents.dataEnd = Load32(image, kDataEnd, order);
  contents.deletedListHead = Load32(image, kDeletedListHead, order);
  contents.rootNode = Load32(image, kRootNode, order);
  contents.reserved24 = Load32(image, kReserved24, order);
  contents.spinCounter = Load32(image, kSpinCounter, order);
  contents.recordsIndexed = Load32(image, kRecordsIndexed, order);
  contents.deletedCount = Load32(image, kDeletedCount, order);
  contents.dataFileName = TextUpToZero(image.subspan(kDataFileName, kDataFileNameSize));
  contents.commandLine = TextUpToZero(image.subspan(kCommandLine, kCommandLineSize));
  for (std::size_t slot = 0; slot < kConditionSlots; ++slot) {
    const HeaderCondition condition = ConditionSlot(image, slot, order);
    if (condition.column == 0) break;
    contents.conditions.push_back(condition);
  }
  for (std::size_t slot = 0; slot < kKeySlots; ++slot) {
    const HeaderKeyField field = KeySlot(image, slot, order);
    if (field.length == 0) break;
    contents.keyFields.push_back(field);
  }
}

void CheckHeader(Bytes image, const IsiContents& contents, const StructureOptions& options,
                 Report& report) {
  HeaderCheck(image, contents, options, report).Run();
}

}  // namespace tavindex::test
