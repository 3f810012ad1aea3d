// A case is drawn in this order, each step from the one stream of random numbers:
//
//   1. the shape: how many records, how long, which end-of-record, which irregularities
//   2. the data file
//   3. key specifications, conditions and options, as text and as the checker's request
//   4. the sort memory, from room for a single record upwards, twice

#include "build_case.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>

namespace tavindex::test {
namespace {

constexpr unsigned kMostKeyBytes = 150;
constexpr char kCtrlZ = 26;

class CaseMaker {
 public:
  CaseMaker(RecordFormat format, std::uint64_t seed) : random_(seed) {
    made_.request.format = format;
    DrawShape();
    if (IsBinary()) {
      MakeBinaryData();
    } else {
      MakeTextData();
    }
    MakeOptions();
    made_.memoryOption = DrawMemory();
    made_.otherMemoryOption = DrawMemory();
  }

  BuildCase Take() { return std::move(made_); }

 private:
  // ---- Random choices ----

  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  unsigned Between(unsigned low, unsigned high) { return low + Below(high - low + 1); }
  bool Percent(unsigned percent) { return Below(100) < percent; }
  template <typename Value>
  Value OneOf(std::initializer_list<Value> values) {
    return *std::next(values.begin(),
                      static_cast<std::ptrdiff_t>(Below(static_cast<unsigned>(values.size()))));
  }

  RecordFormat Format() const { return made_.request.format; }
  bool IsBinary() const {
    return Format() == RecordFormat::kBinary || Format() == RecordFormat::kBinaryWithEor;
  }
  bool IsFixedText() const { return Format() == RecordFormat::kFixedText; }

  // ---- 1. Shape ----

  void DrawShape() {
    records_ = DrawRecordCount();
    length_ = Percent(8) ? Between(300, 3000) : Between(1, 40);
    if (records_ > 1000) length_ = Between(4, 20);
    mark_ = OneOf<std::string>({"\n", "\r", "\r\n", "\n\r"});
    letters_ = OneOf({2U, 4U, 26U, 256U});
    tabs_ = Percent(25);
    deletions_ = Percent(35);
    irregular_ = Percent(25);
  }

  unsigned DrawRecordCount() {
    const unsigned draw = Below(100);
    if (draw < 4) return 0;
    if (draw < 15) return Between(1, 3);
    if (draw < 60) return Between(4, 80);
    if (draw < 88) return Between(80, 900);
    return Between(1000, 8000);
  }

  // ---- 2. Data ----

  char DataByte() {
    if (tabs_ && Percent(4)) return '\t';
    if (letters_ == 256)
      return static_cast<char>(Percent(5) ? OneOf({0xFF, 26, 0}) : Between(32, 255));
    return static_cast<char>(OneOf({'a', 'A'}) + static_cast<int>(Below(letters_)));
  }
  std::string RecordBytes(unsigned length) {
    constexpr std::size_t kSamples = 30;
    std::string record;
    while (record.size() < length) record.push_back(DataByte());
    // A NUL or Ctrl-Z in front has a meaning of its own, which is drawn elsewhere.
    if (!record.empty() && (record[0] == 0 || record[0] == kCtrlZ)) record[0] = 'x';
    if (samples_.size() < kSamples) samples_.push_back(record);
    return record;
  }

  unsigned DrawTextLength() {
    if (!IsFixedText()) return Percent(10) ? 0 : Between(0, length_);
    if (irregular_ && Percent(10)) return Percent(4) ? length_ + 1 : Below(length_ + 1);
    return length_;
  }

  void AddDeletedText() {
    const auto stride = static_cast<unsigned>(length_ + mark_.size());
    const bool odd = irregular_ && Percent(20);
    const unsigned nuls = odd ? Between(1, 3 * stride) : stride * OneOf({1U, 1U, 2U, 130U});
    made_.data.append(nuls, '\0');
  }

  void MakeTextData() {
    std::string& data = made_.data;
    for (unsigned i = 0; i < records_; ++i) {
      if (deletions_ && Percent(3)) AddDeletedText();
      if (Below(4000) == 0) data.push_back(kCtrlZ);
      data += RecordBytes(DrawTextLength()) + mark_;
    }
    if (deletions_ && Percent(10)) AddDeletedText();
    if (Percent(1)) data += std::string(Between(65000, 66000), 'L') + mark_;
    if (Percent(15)) CutLastMark();
    if (Percent(20)) data.push_back(kCtrlZ);
    // Without a LF the program finds no record length: the command line must have it.
    const bool needed = IsFixedText() && mark_ == "\r" && !Percent(10);
    if (!needed && !Percent(35)) return;
    made_.request.declaredLength = length_ + (irregular_ && Percent(30) ? Below(5) : 0);
  }

  // The whole mark of the last record, or its second byte only.
  void CutLastMark() {
    const std::size_t cut = Percent(50) ? mark_.size() : 1;
    made_.data.resize(made_.data.size() - std::min(cut, made_.data.size()));
  }

  void MakeBinaryData() {
    const bool withMark = Format() == RecordFormat::kBinaryWithEor;
    const std::string mark = withMark ? mark_ : "";
    std::string& data = made_.data;
    for (unsigned i = 0; i < records_; ++i) {
      std::string record = RecordBytes(length_) + mark;
      if (deletions_ && Percent(12)) record.assign(record.size(), '\0');
      // Records that begin with NULs are no deleted ones.
      if (deletions_ && Percent(8)) std::fill_n(record.begin(), length_ / 2, '\0');
      data += record;
    }
    if (irregular_ && Percent(5)) data.push_back('x');
    if (withMark && irregular_ && Percent(10) && !data.empty()) data[data.size() / 2] = '!';
    made_.request.declaredLength = length_;
  }

  // ---- 3. Options ----

  void MakeOptions() {
    AddFormatOption();
    AddFlagOptions();
    AddDuplicateOption();
    if (Percent(30)) AddConditions();
    if (Percent(25)) {
      options_ += "u";
      made_.request.upperCase = true;
    }
    AddKeys();
    if (Percent(10)) AddConditions();
    if (options_.size() > 420) ShortenOptions();
    BuildHeader();
  }

  // More than the command line holds: the key alone remains.
  void ShortenOptions() {
    BuildRequest bare;
    bare.format = made_.request.format;
    bare.declaredLength = made_.request.declaredLength;
    made_.request = bare;
    options_.clear();
    made_.header.osType = 0;
    AddFormatOption();
    AddKeys();
  }

  void AddFormatOption() {
    const std::string number = std::to_string(made_.request.declaredLength);
    lengthField_ = made_.request.declaredLength != 0 && (!IsBinary() || Percent(30));
    const std::string value =
        IsBinary() && (!lengthField_ || Percent(30)) ? "=" + number + "," : "";
    switch (Format()) {
      case RecordFormat::kFixedText:
        break;
      case RecordFormat::kVariableText:
        options_ += OneOf({'v', 'V'});
        break;
      case RecordFormat::kCompressedText:
        options_ += OneOf<std::string>({"s", "vs", "S"});
        break;
      case RecordFormat::kBinary:
        options_ += "f" + value;
        break;
      case RecordFormat::kBinaryWithEor:
        options_ += "G" + value;
        break;
    }
  }

  void AddFlagOptions() {
    BuildRequest& request = made_.request;
    if (Percent(20)) {
      options_ += "b";
      request.expandTabs = false;
    }
    if (Percent(10)) {
      options_ += "w";
      request.writeAll = true;
    }
    if (Percent(20)) options_ += "e";
    if (Percent(30)) options_ += OneOf<std::string>({"x", "y", "z", "q", " ", ","});
    if (Percent(15)) AddOsType();
    if (Percent(40)) AddFillPercent();
  }

  void AddOsType() {
    const bool first = Percent(50);
    options_ += first ? "o=1" : OneOf<std::string>({"o", "o=2"});
    made_.header.osType = first ? 0x08 : 0x10;
  }

  void AddFillPercent() {
    const unsigned percent = Percent(3) ? 0 : OneOf({4U, 7U, 10U, 34U, 50U, 67U, 99U});
    options_ += "m" + std::string(percent < 10 ? "0" : "") + std::to_string(percent);
    made_.request.fillPercent = percent;
  }

  void AddDuplicateOption() {
    switch (Below(10)) {
      case 0:
        options_ += "n,";
        made_.request.duplicates = Duplicates::kRefuse;
        break;
      case 1:
      case 2:
        options_ += "n0";
        made_.request.duplicates = Duplicates::kIgnore;
        break;
      case 3:
      case 4:
        options_ += "n$";
        made_.request.duplicates = Duplicates::kIgnoreQuietly;
        break;
      case 5:
        options_ += OneOf<std::string>({"d", "n0d", "nd"});
        break;
      default:
        break;
    }
  }

  unsigned DrawColumn() { return Between(1, std::max(10U, std::min(length_ + 10, 70U))); }

  // Ranges that do not overlap, upwards or downwards, some behind the record's end.
  void AddKeys() {
    std::array<bool, 600> taken{};
    unsigned bytes = 0;
    const unsigned wanted = Between(1, 4);
    for (unsigned tries = 0; tries < 40 && made_.request.keys.size() < wanted; ++tries) {
      unsigned low = DrawColumn();
      if (Percent(5)) low += 300;
      const unsigned high = low + Below(Percent(5) ? 140 : 12);
      const auto first = taken.begin() + low;
      const auto last = taken.begin() + high + 1;
      const bool fits = bytes + (high - low + 1) + 40 <= kMostKeyBytes;
      if (!fits || std::find(first, last, true) != last) continue;
      std::fill(first, last, true);
      bytes += high - low + 1;
      AddKey(low, high);
    }
    if (made_.request.keys.empty()) AddKey(1, 1);
  }

  void AddKey(unsigned low, unsigned high) {
    const bool down = low != high && Percent(25);
    const unsigned from = down ? high : low;
    const unsigned to = down ? low : high;
    made_.request.keys.push_back({from, to});
    options_ += "," + std::to_string(from);
    if (from != to || Percent(20)) options_ += "-" + std::to_string(to);
  }

  // What a condition on that column compares with. Mostly bytes that stand there in some record, so
  // that records on both sides of the comparison, and equal ones, are there.
  std::string ConditionText(unsigned column, unsigned length) {
    std::string text;
    while (text.size() < length) text.push_back(ConditionByte());
    if (samples_.empty() || Percent(25)) return text;
    const std::string& record = samples_[Below(static_cast<unsigned>(samples_.size()))];
    for (std::size_t i = 0; i < length && column - 1 + i < record.size(); ++i) {
      if (CanBeTyped(record[column - 1 + i])) text[i] = record[column - 1 + i];
    }
    return text;
  }
  char ConditionByte() {
    const char c = static_cast<char>(letters_ == 256 ? Between(33, 126) : Between('A', 'f'));
    return CanBeTyped(c) ? c : 'a';
  }
  // A double quote would begin the quoted form.
  static bool CanBeTyped(char c) { return static_cast<unsigned char>(c) >= ' ' && c != '"'; }

  void AddConditions() {
    if (Percent(50)) return AddCompound();
    for (unsigned left = Between(1, 3); left > 0; --left) AddSimple();
  }

  void AddSimple() {
    SimpleCondition condition{.column = DrawColumn(), .equal = Percent(30), .value = ' '};
    condition.value = ConditionText(condition.column, 1)[0];
    made_.request.conditions.push_back(condition);
    options_ += ",p" + std::to_string(condition.column) + (condition.equal ? "=" : "#");
    const bool quoted = Percent(30);
    options_ +=
        quoted ? "\"" + std::string(1, condition.value) + "\"" : std::string(1, condition.value);
  }

  void AddCompound() {
    const bool again = std::ranges::any_of(made_.request.conditions, [](const Condition& c) {
      return std::holds_alternative<CompoundCondition>(c);
    });
    if (again) return AddSimple();
    CompoundCondition compound{.select = Percent(60), .terms = {}};
    const std::string quote = Percent(25) ? "\"" : "";
    options_ += ",p";
    options_ += compound.select ? "=" : "#";
    options_ += quote;
    for (unsigned left = Between(1, 4); left > 0; --left) AddTerm(compound);
    options_ += quote;
    made_.request.conditions.push_back(compound);
  }

  void AddTerm(CompoundCondition& compound) {
    CompoundTerm term;
    if (!compound.terms.empty()) {
      term.connector = OneOf({Connector::kAnd, Connector::kOr});
      options_ += term.connector == Connector::kAnd ? "&" : "|";
    }
    term.column = DrawColumn();
    options_ += std::to_string(term.column);
    const auto& [op, forms] = kOperators[Below(static_cast<unsigned>(kOperators.size()))];
    term.op = op;
    options_ += forms[Below(static_cast<unsigned>(forms.size()))];
    term.value = ConditionText(term.column, Percent(80) ? 1 : Between(2, 12));
    for (char& c : term.value) c = Percent(5) ? '\'' : c;
    options_ += "'";
    for (const char c : term.value) options_ += c == '\'' ? std::string("''") : std::string(1, c);
    options_ += "'";
    compound.terms.push_back(term);
  }

  void BuildHeader() {
    const BuildRequest& request = made_.request;
    made_.header.dataFileName = "data.txt";
    made_.header.commandLine = "data.txt,index.isi";
    if (lengthField_) made_.header.commandLine += ",L" + std::to_string(request.declaredLength);
    made_.header.commandLine += " -" + options_;
  }

  // ---- 4. Memory ----

  std::string DrawMemory() {
    unsigned keyLength = 0;
    for (const KeyRange& key : made_.request.keys) {
      keyLength += std::max(key.from, key.to) - std::min(key.from, key.to) + 1;
    }
    const unsigned share = keyLength + 10 + 4;  // an item and its reference
    const unsigned items = OneOf({3U, 3U, 4U, 5U, 8U, 12U, 20U, 100U, 1000U});
    const unsigned slack = Below(share);
    return "-m" + std::to_string(items * share + slack);
  }

  static const std::vector<std::pair<Operator, std::vector<std::string>>> kOperators;

  std::mt19937_64 random_;
  BuildCase made_;
  std::string options_;
  bool lengthField_ = false;
  unsigned records_ = 0;
  unsigned length_ = 0;  // of a record, without its mark
  std::string mark_;
  std::vector<std::string> samples_;  // records of the data
  unsigned letters_ = 0;              // different data bytes: few of them give many duplicates
  bool tabs_ = false;
  bool deletions_ = false;
  bool irregular_ = false;
};

const std::vector<std::pair<Operator, std::vector<std::string>>> CaseMaker::kOperators = {
    {Operator::kLess, {"<"}},
    {Operator::kGreater, {">", "g", "G"}},
    {Operator::kEqual, {"=", "e", "E"}},
    {Operator::kNotEqual, {"!=", "#", "n", "<>"}},
    {Operator::kLessEqual, {"<=", "le", "LE"}},
    {Operator::kGreaterEqual, {">=", "ge", "Ge"}},
};

}  // namespace

std::vector<std::string> BuildCase::Arguments(char method) const {
  const std::size_t options = header.commandLine.find(' ');
  return {memoryOption, std::string("-") + method, header.commandLine.substr(0, options),
          header.commandLine.substr(options + 1)};
}

BuildCase MakeBuildCase(RecordFormat format, std::uint64_t seed) {
  return CaseMaker(format, seed).Take();
}

}  // namespace tavindex::test
