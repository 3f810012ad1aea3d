// A whole index build in plain memory.
//
//   1. PrepareFormat  marks, record length, and what is refused before a record is read
//   2. ScanText / ScanBinary  records and deleted records, one behind the other
//   3. TakeRecord  columns (TABs expanded), length, conditions, key
//   4. FinishEntries  order, duplicates, and the counts that the header and the driver need
//
// Where the program walks a key map byte by byte through a block buffer, this lays every record out
// in columns and looks at the columns it wants; columns behind the record's end are spaces.

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include "isi_checker.h"

namespace tavindex::test {
namespace {

constexpr std::uint8_t kNul = 0;
constexpr std::uint8_t kTab = 9;
constexpr std::uint8_t kLineFeed = 10;
constexpr std::uint8_t kCtrlZ = 26;
constexpr std::uint8_t kSpace = 32;
constexpr unsigned kDefaultVariableLength = 256;
constexpr unsigned kLongest = 65535;
constexpr std::uint64_t kFourGiB = std::uint64_t{1} << 32;

// A record that the conditions let through.
struct KeptRecord {
  std::uint64_t position = 0;
  std::uint16_t length = 0;
  std::string key;
};

bool IsBinary(RecordFormat format) {
  return format == RecordFormat::kBinary || format == RecordFormat::kBinaryWithEor;
}

bool IsVariable(RecordFormat format) {
  return format == RecordFormat::kVariableText || format == RecordFormat::kCompressedText;
}

// Less, equal or greater as -1, 0, 1. The record is less where it ends, and at a LF.
int CompareColumns(const std::vector<std::uint8_t>& columns, std::size_t at,
                   const std::string& value) {
  for (const char wanted : value) {
    if (at >= columns.size() || columns[at] == kLineFeed) return -1;
    const auto byte = static_cast<std::uint8_t>(wanted);
    if (columns[at] != byte) return columns[at] < byte ? -1 : 1;
    ++at;
  }
  return 0;
}

bool Holds(Operator op, int outcome) {
  switch (op) {
    case Operator::kLess:
      return outcome < 0;
    case Operator::kGreater:
      return outcome > 0;
    case Operator::kEqual:
      return outcome == 0;
    case Operator::kNotEqual:
      return outcome != 0;
    case Operator::kLessEqual:
      return outcome <= 0;
    case Operator::kGreaterEqual:
      return outcome >= 0;
  }
  return false;
}

class RecordModel {
 public:
  RecordModel(Bytes data, const BuildRequest& request) : data_(data), request_(request) {}

  IndexModel Run() {
    if (PrepareFormat()) {
      if (IsBinary(request_.format)) {
        ScanBinary();
      } else {
        ScanText();
      }
    }
    if (model_.result == 0) FinishEntries();
    return std::move(model_);
  }

 private:
  bool Refuse(int result) {
    model_.result = result;
    return false;
  }
  std::uint8_t At(std::uint64_t at) const { return std::to_integer<std::uint8_t>(data_[at]); }

  // ---- 1. Format ----

  bool PrepareFormat() {
    const DetectedFormat detected = DetectFormat(data_, request_);
    model_.eor = detected.eor;
    markLength_ = detected.eor.length;
    stride_ = detected.recordLength;
    if (request_.declaredLength != 0) stride_ = request_.declaredLength + markLength_;
    for (const KeyRange& range : request_.keys) {
      const auto [low, high] = std::minmax(range.from, range.to);
      model_.keyLength += high - low + 1;
    }
    if (stride_ == 0 && !IsVariable(request_.format)) return Refuse(kResultNoRecordLength);
    if (detected.recordLength > kLongest - markLength_) return Refuse(kResultRecordTooLong);
    if (IsBinary(request_.format)) return PrepareBinary();
    scanMark_ = markLength_;
    PrepareNumbers();
    return true;
  }

  // The marks of binary records belong to their length: none is skipped behind them.
  bool PrepareBinary() {
    scanMark_ = 0;
    if (data_.size() % stride_ != 0) return Refuse(kResultBinarySize);
    PrepareNumbers();
    return true;
  }

  void PrepareNumbers() {
    model_.recordNumbers =
        !IsVariable(request_.format) && (request_.recordNumbers || data_.size() >= kFourGiB);
  }

  // ---- 2. Records ----

  void ScanText() {
    std::uint64_t end = data_.size();
    if (end > 0 && At(end - 1) == kCtrlZ) --end;  // never data, but one only
    std::uint64_t at = 0;
    while (at < end) {
      if (At(at) == kNul) at = SkipDeleted(at, end);
      nextLfa_ = at;
      if (at == end || At(at) == kCtrlZ) return;
      const std::uint64_t recordEnd = FindMark(at, end);
      if (!TakeRecord(at, recordEnd)) return;
      at = std::min(recordEnd + scanMark_, end);
    }
  }

  std::uint64_t FindMark(std::uint64_t at, std::uint64_t end) const {
    const bool twoBytes = model_.eor.length == 2;
    for (; at < end; ++at) {
      if (At(at) != model_.eor.first) continue;
      if (!twoBytes) return at;
      if (at + 1 < end && At(at + 1) == model_.eor.second) return at;
    }
    return end;
  }

  // A run of NULs where a record could begin. One that reaches the end of the data is not measured.
  std::uint64_t SkipDeleted(std::uint64_t at, std::uint64_t end) {
    const std::uint64_t start = at;
    while (at < end && At(at) == kNul) ++at;
    if (IsVariable(request_.format)) return at;
    for (std::uint64_t deleted = start; deleted < at; deleted += stride_) AddDeleted(deleted);
    if (at < end && (at - start) % stride_ != 0) {
      model_.variableAfterDeleted = true;
      model_.variableLengthSeen = true;
    }
    return at;
  }

  void ScanBinary() {
    for (std::uint64_t at = 0; at < data_.size(); at += stride_) {
      const Bytes record = data_.subspan(at, stride_);
      if (std::all_of(record.begin(), record.end(),
                      [](std::byte b) { return b == std::byte{0}; })) {
        AddDeleted(at);
        nextLfa_ = at + stride_;
        continue;
      }
      if (request_.format == RecordFormat::kBinaryWithEor && !HasMark(record)) {
        Refuse(kResultWrongMark);
        return;
      }
      if (!TakeRecord(at, at + stride_)) return;
    }
  }

  bool HasMark(Bytes record) const {
    const std::size_t at = record.size() - model_.eor.length;
    const bool second =
        model_.eor.length == 1 || record[at + 1] == static_cast<std::byte>(model_.eor.second);
    return record[at] == static_cast<std::byte>(model_.eor.first) && second;
  }

  void AddDeleted(std::uint64_t position) { model_.deleted.push_back(StoredAddress(position)); }

  // A position that is no whole number of records cannot be stored as a number.
  std::uint32_t StoredAddress(std::uint64_t position) {
    if (!model_.recordNumbers) return static_cast<std::uint32_t>(position);
    if (position % stride_ != 0) model_.longRecordSeen = true;
    return static_cast<std::uint32_t>(position / stride_);
  }

  // ---- 3. One record ----

  bool TakeRecord(std::uint64_t start, std::uint64_t end) {
    const std::uint64_t length = end - start + scanMark_;
    if (length > kLongest - scanMark_) return Refuse(kResultRecordTooLong);
    nextLfa_ = start + length;
    LayOutColumns(start, end);
    if (stride_ == 0) {
      const auto columns = static_cast<unsigned>(columns_.size());
      stride_ = std::max(columns, kDefaultVariableLength) + scanMark_;
    }
    if (MeetsConditions()) kept_.push_back({start, static_cast<std::uint16_t>(length), Key()});
    return true;
  }

  void LayOutColumns(std::uint64_t start, std::uint64_t end) {
    columns_.clear();
    for (std::uint64_t at = start; at < end; ++at) {
      const std::uint8_t byte = At(at);
      if (byte == kTab && request_.expandTabs) {
        columns_.resize((columns_.size() / 8 + 1) * 8, kSpace);
        model_.tabsExpanded = true;
      } else {
        columns_.push_back(byte);
      }
    }
  }

  std::uint8_t Column(unsigned column) const {
    return column <= columns_.size() ? columns_[column - 1] : kSpace;
  }

  bool MeetsConditions() const {
    return std::all_of(request_.conditions.begin(), request_.conditions.end(),
                       [this](const Condition& condition) { return Meets(condition); });
  }

  bool Meets(const Condition& condition) const {
    if (const auto* simple = std::get_if<SimpleCondition>(&condition)) {
      return (Column(simple->column) == static_cast<std::uint8_t>(simple->value)) == simple->equal;
    }
    const auto& compound = std::get<CompoundCondition>(condition);
    return Truth(compound.terms) == compound.select;
  }

  // A list of groups joined by OR, each a list of terms joined by AND.
  bool Truth(const std::vector<CompoundTerm>& terms) const {
    bool group = true;
    for (const CompoundTerm& term : terms) {
      if (term.connector == Connector::kOr) {
        if (group) return true;
        group = true;
      }
      group = group && Holds(term.op, CompareColumns(columns_, term.column - 1, term.value));
    }
    return group;
  }

  std::string Key() const {
    std::string key;
    for (const KeyRange& range : request_.keys) {
      const bool down = range.to < range.from;
      for (unsigned column = range.from;; column = down ? column - 1 : column + 1) {
        key.push_back(KeyByte(Column(column)));
        if (column == range.to) break;
      }
    }
    return key;
  }

  char KeyByte(std::uint8_t byte) const {
    const bool lower = byte >= 'a' && byte <= 'z';
    return static_cast<char>(request_.upperCase && lower ? byte - 32 : byte);
  }

  // ---- 4. Entries ----

  void FinishEntries() {
    std::stable_sort(kept_.begin(), kept_.end(), [](const KeptRecord& a, const KeptRecord& b) {
      return std::tie(a.key, a.position) < std::tie(b.key, b.position);
    });
    model_.recordsIndexed = kept_.size();
    for (KeptRecord& record : kept_) {
      NoteLength(record.length);
      AddEntry(record);
    }
    FinishHeaderValues();
    model_.result = ResultOfBuild();
  }

  void NoteLength(unsigned length) {
    if (length == stride_) return;
    model_.variableAfterDeleted = false;
    model_.variableLengthSeen = true;
    if (length < stride_) {
      model_.shortRecordSeen = true;
    } else {
      model_.longRecordSeen = true;
    }
  }

  void AddEntry(KeptRecord& record) {
    const std::uint32_t lfa = StoredAddress(record.position);
    std::uint16_t dupSeq = 0;
    if (!model_.entries.empty() && model_.entries.back().key == record.key) {
      if (DropsDuplicates()) {
        ++model_.ignoredDupCount;
        return;
      }
      dupSeq = static_cast<std::uint16_t>(model_.entries.back().dupSeq + 1U);
      ++model_.dupCount;
    }
    model_.entries.push_back({lfa, dupSeq, record.length, std::move(record.key)});
  }

  bool DropsDuplicates() const {
    return request_.duplicates == Duplicates::kIgnore ||
           request_.duplicates == Duplicates::kIgnoreQuietly;
  }

  void FinishHeaderValues() {
    model_.stride = stride_;
    // A field of 16 bits, which many TABs can be too much for.
    model_.recordLength = stride_ == 0 ? 0 : std::min(stride_ - markLength_, 0xFFFFU);
    model_.dataEnd = model_.recordNumbers ? nextLfa_ / stride_ : nextLfa_;
    model_.fileFlags = FileFlags();
  }

  std::uint8_t FileFlags() const {
    unsigned flags = model_.eor.fileFlags;
    if (request_.writeAll) flags |= 0x01U;
    if (IsVariable(request_.format)) flags |= 0x02U | 0x20U;
    if (request_.duplicates != Duplicates::kStore) flags |= 0x04U;
    if (request_.format == RecordFormat::kCompressedText) flags |= 0x08U;
    if (request_.format == RecordFormat::kBinary) flags |= 0x10U;
    if (model_.variableLengthSeen || model_.tabsExpanded) flags |= 0x20U;
    return static_cast<std::uint8_t>(flags);
  }

  int ResultOfBuild() const {
    if (TreeOverflows()) return kResultTreeLimit;
    if (stride_ == 0) return kResultNullFile;
    if (model_.longRecordSeen || DuplicatesRefused()) return kResultWrongFormat;
    return 0;
  }

  // 16 levels of m entries a node hold (m + 1)^16 - 1 keys.
  bool TreeOverflows() const {
    const std::size_t perNode = layout::FilledEntries(model_.keyLength, request_.fillPercent);
    std::uint64_t nodes = 1;  // one key more than the levels so far can hold
    for (unsigned level = 0; level < layout::kMaxLevels; ++level) {
      nodes *= perNode + 1;
      if (nodes > model_.entries.size()) return false;
    }
    return true;
  }

  // Duplicates are not blamed on data whose irregular records the options did not allow for.
  bool DuplicatesRefused() const {
    if (request_.duplicates == Duplicates::kStore || model_.dupCount % kFourGiB == 0) return false;
    const bool lengthsFit = IsVariable(request_.format) || !model_.shortRecordSeen;
    const bool tabsFit = request_.format == RecordFormat::kCompressedText || !model_.tabsExpanded;
    return lengthsFit && tabsFit;
  }

  Bytes data_;
  const BuildRequest& request_;
  IndexModel model_;
  unsigned markLength_ = 0;  // of the data file's marks
  unsigned scanMark_ = 0;    // what stands behind a record and is no part of it
  unsigned stride_ = 0;      // record length with its mark, 0 while unknown
  std::uint64_t nextLfa_ = 0;
  std::vector<std::uint8_t> columns_;  // of the current record
  std::vector<KeptRecord> kept_;
};

}  // namespace

IndexModel BuildModel(std::span<const std::byte> data, const BuildRequest& request) {
  return RecordModel(data, request).Run();
}

std::vector<ModelEntry> ExpectedEntries(std::span<const std::byte> data,
                                        const BuildRequest& request) {
  return BuildModel(data, request).entries;
}

}  // namespace tavindex::test
