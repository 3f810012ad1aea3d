#include "sort/conditions.h"

#include <algorithm>

#include "common/decimal.h"
#include "sort/key_map.h"
#include "sort/record_reader.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kMaxCompoundColumn = 32767;
constexpr std::size_t kMaxValueLength = 299;

char Peek(const ConditionText& condition, std::size_t ahead = 0) {
  const std::size_t at = condition.at + ahead;
  return at < condition.text.size() ? condition.text[at] : '\0';
}

bool AtEnd(const ConditionText& condition) { return condition.at >= condition.text.size(); }

std::string_view Rest(const ConditionText& condition) {
  return std::string_view{condition.text.data(), condition.text.size()}.substr(
      std::min(condition.at, condition.text.size()));
}

void SkipBlanks(ConditionText& condition) {
  while (Peek(condition) == ' ') ++condition.at;
}

// A column from 1 to `limit`; 0 when there is none.
std::uint32_t ReadColumn(ConditionText& condition, std::uint32_t limit) {
  const Decimal number = ReadDecimal(Rest(condition));
  condition.at += number.digits;
  return number.value <= limit ? number.value : 0;
}

std::uint16_t SenseFlag(char sense) {
  if (sense == '=') return kTestEqual;
  return sense == '#' ? kTestNotEqual : 0;
}

void SetFlags(KeyMapEntry& entry, std::uint16_t flags) {
  entry.flags = static_cast<std::uint16_t>(entry.flags | flags);
}

// Keeps the header's table in ascending column order; later conditions of a column stand behind.
Result AddToHeaderTable(RunContext& run, const KeyMapEntry& entry) {
  if (!run.control.indexMode) return kOk;
  KeyState& keys = run.keys;
  if (keys.conditionTableCount == kMaxConditions) return kTooManyConditions;
  const auto end = keys.conditionTable.begin() + keys.conditionTableCount;
  const HeaderCondition added{.column = static_cast<std::uint16_t>(entry.recordPos + 1),
                              .flags = static_cast<std::uint8_t>(entry.flags & kTestMask),
                              .compareChar = entry.compareChar};
  const auto place = std::upper_bound(
      keys.conditionTable.begin(), end, added,
      [](const HeaderCondition& a, const HeaderCondition& b) { return a.column < b.column; });
  std::move_backward(place, end, end + 1);
  *place = added;
  ++keys.conditionTableCount;
  return kOk;
}

// The character of a simple condition, plain or in double quotes.
bool ReadCompareChar(ConditionText& condition, std::uint8_t& character) {
  const bool quoted = Peek(condition) == '"';
  if (quoted && Peek(condition, 2) != '"') return false;
  if (AtEnd(condition)) return false;
  character = static_cast<std::uint8_t>(Peek(condition, quoted ? 1 : 0));
  condition.at += quoted ? 3 : 1;
  return true;
}

Result AddSimpleCondition(RunContext& run, ConditionText& condition) {
  const std::uint32_t limit = UINT16_MAX - std::uint32_t{run.data.eorLength};
  const std::uint32_t column = ReadColumn(condition, limit);
  const std::uint16_t sense = SenseFlag(Peek(condition));
  if (column == 0 || sense == 0) return kBadCondition;
  ++condition.at;
  std::uint8_t character = 0;
  if (!ReadCompareChar(condition, character)) return kBadCondition;
  KeyMapEntry* entry = FindConditionEntry(run, column - 1);
  if (entry == nullptr) return kBadCondition;
  SetFlags(*entry, sense);
  entry->compareChar = character;
  return AddToHeaderTable(run, *entry);
}

Result AddCompoundCondition(RunContext& run, ConditionText& condition) {
  if (run.options.primaryOption == 'P') return kBadCondition;
  run.options.primaryOption = 'P';
  const std::uint16_t sense = SenseFlag(Peek(condition));
  ++condition.at;
  KeyMapEntry* entry = ParseCompound(run, condition);
  if (entry == nullptr) return kBadCondition;
  SetFlags(*entry, sense);
  return AddToHeaderTable(run, *entry);
}

struct OperatorForm {
  std::string_view text;  // letters in lower case
  Operator op;
};

// Longest first, so that "<=" is not taken for "<".
constexpr OperatorForm kOperatorForms[] = {
    {"!=", Operator::kNotEqual},
    {"<>", Operator::kNotEqual},
    {"<=", Operator::kLessOrEqual},
    {"le", Operator::kLessOrEqual},
    {">=", Operator::kGreaterOrEqual},
    {"ge", Operator::kGreaterOrEqual},
    {"<", Operator::kLess},
    {">", Operator::kGreater},
    {"g", Operator::kGreater},
    {"=", Operator::kEqual},
    {"e", Operator::kEqual},
    {"#", Operator::kNotEqual},
    {"n", Operator::kNotEqual},
};

bool StartsWithForm(std::string_view text, std::string_view form) {
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isLetter = form[i] >= 'a';
    if ((isLetter ? text[i] | 32 : text[i]) != form[i]) return false;
  }
  return true;
}

bool ReadOperator(ConditionText& condition, Operator& op) {
  SkipBlanks(condition);
  for (const OperatorForm& form : kOperatorForms) {
    if (!StartsWithForm(Rest(condition), form.text)) continue;
    condition.at += form.text.size();
    op = form.op;
    return true;
  }
  return false;
}

// A text in single quotes; doubled quotes are closed up to one where the text stands.
bool ReadValue(ConditionText& condition, std::string_view& value) {
  SkipBlanks(condition);
  if (Peek(condition) != '\'') return false;
  const std::size_t start = ++condition.at;
  std::size_t length = 0;
  for (; !AtEnd(condition); ++condition.at) {
    if (Peek(condition) == '\'') {
      if (Peek(condition, 1) != '\'') {
        ++condition.at;
        value = {condition.text.data() + start, length};
        return length >= 1 && length <= kMaxValueLength;
      }
      ++condition.at;
    }
    condition.text[start + length++] = Peek(condition);
  }
  return false;
}

Connector ReadConnector(ConditionText& condition) {
  SkipBlanks(condition);
  const char c = Peek(condition);
  if (c != '&' && c != '|') return Connector::kEnd;
  ++condition.at;
  return c == '&' ? Connector::kAnd : Connector::kOr;
}

// The map entry that the compound terms of a column share.
KeyMapEntry* CompoundEntry(RunContext& run, std::uint32_t column) {
  KeyState& keys = run.keys;
  for (std::uint32_t i = 0; i < keys.keyMapCount; ++i) {
    KeyMapEntry& entry = keys.keyMap[i];
    if (entry.recordPos == column && (entry.flags & kCompound) != 0) return &entry;
  }
  KeyMapEntry* entry = FindConditionEntry(run, column);
  if (entry != nullptr) SetFlags(*entry, kCompound);
  return entry;
}

// One term, behind its connector. Gives the term's map entry, or null.
KeyMapEntry* ParseTerm(RunContext& run, ConditionText& condition, Connector connector) {
  KeyState& keys = run.keys;
  if (keys.termCount == kMaxCompoundTerms) return nullptr;
  SkipBlanks(condition);
  const std::uint32_t column = ReadColumn(condition, kMaxCompoundColumn);
  if (column == 0) return nullptr;
  KeyMapEntry* entry = CompoundEntry(run, column - 1);
  CompoundTerm& term = keys.terms[keys.termCount];
  term = CompoundTerm{};
  term.connector = connector;
  term.column = static_cast<std::uint16_t>(column - 1);
  if (entry == nullptr || !ReadOperator(condition, term.op)) return nullptr;
  if (!ReadValue(condition, term.value)) return nullptr;
  ++keys.termCount;
  return entry;
}

bool TakeQuote(ConditionText& condition) {
  if (Peek(condition) != '"') return false;
  ++condition.at;
  return true;
}

bool ApplyOperator(Operator op, int order) {
  switch (op) {
    case Operator::kLess:
      return order < 0;
    case Operator::kGreater:
      return order > 0;
    case Operator::kEqual:
      return order == 0;
    case Operator::kNotEqual:
      return order != 0;
    case Operator::kLessOrEqual:
      return order <= 0;
    case Operator::kGreaterOrEqual:
      break;
  }
  return order >= 0;
}

// How the record from `column` on compares with the value: negative, 0 or positive.
int CompareWithRecord(RunContext& run, std::uint32_t column, std::string_view value) {
  constexpr int kLineFeed = 10;
  RecordReader reader(run, column);
  for (const char wanted : value) {
    const int byte = reader.Next();
    if (byte == RecordReader::kRecordEnd || byte == kLineFeed) return -1;
    const int difference = byte - static_cast<unsigned char>(wanted);
    if (difference != 0) return difference;
  }
  return 0;
}

}  // namespace

Result AddCondition(RunContext& run, ConditionText& condition) {
  const bool compound = SenseFlag(Peek(condition)) != 0;
  if (compound) return AddCompoundCondition(run, condition);
  if (run.options.primaryOption == '\0') run.options.primaryOption = 'p';
  return AddSimpleCondition(run, condition);
}

KeyMapEntry* ParseCompound(RunContext& run, ConditionText& condition) {
  const bool quoted = TakeQuote(condition);
  KeyMapEntry* highest = nullptr;
  Connector connector = Connector::kFirst;
  do {
    KeyMapEntry* entry = ParseTerm(run, condition, connector);
    if (entry == nullptr) return nullptr;
    if (highest == nullptr || entry->recordPos > highest->recordPos) highest = entry;
    connector = ReadConnector(condition);
  } while (connector != Connector::kEnd);
  run.keys.terms[run.keys.termCount].connector = Connector::kEnd;
  return TakeQuote(condition) == quoted ? highest : nullptr;
}

void ResetTerms(RunContext& run) {
  for (std::uint32_t i = 0; i < run.keys.termCount; ++i) {
    run.keys.terms[i].result = TermResult::kNotEvaluated;
  }
}

void EvaluateTerms(RunContext& run, std::uint32_t column) {
  for (std::uint32_t i = 0; i < run.keys.termCount; ++i) {
    CompoundTerm& term = run.keys.terms[i];
    if (term.column != column) continue;
    const bool holds = ApplyOperator(term.op, CompareWithRecord(run, column, term.value));
    term.result = holds ? TermResult::kTrue : TermResult::kFalse;
  }
}

bool CompoundTruth(RunContext& run) {
  const CompoundTerm* term = run.keys.terms.data();
  bool truth = false;
  for (;;) {
    const bool holds = term->result == TermResult::kTrue;
    ++term;
    if (holds && term->connector == Connector::kAnd) continue;
    truth = holds;
    if (holds) break;
    while (term->connector == Connector::kAnd) ++term;
    if (term->connector != Connector::kOr) break;
  }
  ResetTerms(run);
  return truth;
}

}  // namespace tavindex
