#include "fuzz/build_plan.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "fuzz/scene.h"

namespace tavindex::test {

namespace {

constexpr unsigned kMaxColumn = 65534;
constexpr unsigned kMaxTermColumn = 32767;
constexpr unsigned kMaxDeclared = 65000;
constexpr unsigned kMaxItems = 100000;
// The line must fit the header, the key map must have room for every condition.
constexpr std::size_t kMaxOptions = 450;
constexpr std::size_t kMaxText = 40;
constexpr std::size_t kMaxConditions = 10;
constexpr std::size_t kMaxTerms = 20;
constexpr std::size_t kMaxKeys = 31;
constexpr unsigned kMaxKeyBytes = 110;

struct OperatorForm {
  char letter;
  Operator op;
  const char* text;
};

constexpr std::array<OperatorForm, 6> kOperatorForms = {{
    {'<', Operator::kLess, "<"},
    {'>', Operator::kGreater, ">"},
    {'=', Operator::kEqual, "="},
    {'!', Operator::kNotEqual, "<>"},
    {'{', Operator::kLessEqual, "le"},
    {'}', Operator::kGreaterEqual, ">="},
}};

unsigned Width(const KeyRange& key) {
  return std::max(key.from, key.to) - std::min(key.from, key.to) + 1;
}

bool Overlap(const KeyRange& a, const KeyRange& b) {
  return std::min(a.from, a.to) <= std::max(b.from, b.to) &&
         std::min(b.from, b.to) <= std::max(a.from, a.to);
}

// Takes the digits in front; 0 when there are none, `limit` when they say more.
unsigned TakeNumber(std::string_view& text, unsigned limit) {
  unsigned number = 0;
  while (!text.empty() && text[0] >= '0' && text[0] <= '9') {
    number = std::min(number * 10 + static_cast<unsigned>(text[0] - '0'), limit);
    text.remove_prefix(1);
  }
  return number;
}

char TakeCharacter(std::string_view& text) {
  if (text.empty()) return '\0';
  const char c = text[0];
  text.remove_prefix(1);
  return c;
}

class PlanReader {
 public:
  BuildPlan Run(std::string_view line) {
    while (!line.empty()) Take(TakePiece(line, ' '));
    if (request_.keys.empty()) request_.keys.push_back({1, 3});
    return std::move(plan_);
  }

 private:
  void Take(std::string_view word) {
    const BuildPlan before = plan_;
    if (!TakeFlag(word)) TakeValue(word);
    if (plan_.Options().size() > kMaxOptions) plan_ = before;
  }

  bool TakeFlag(std::string_view word) {
    if (word == "v") request_.format = RecordFormat::kVariableText;
    if (word == "s") request_.format = RecordFormat::kCompressedText;
    if (word == "f") request_.format = RecordFormat::kBinary;
    if (word == "g") request_.format = RecordFormat::kBinaryWithEor;
    if (word == "b") request_.expandTabs = false;
    if (word == "u") request_.upperCase = true;
    if (word == "w") request_.writeAll = true;
    if (word == "e") plan_.errorFile = true;
    if (word == "n") request_.duplicates = Duplicates::kRefuse;
    if (word == "n0") request_.duplicates = Duplicates::kIgnore;
    if (word == "n$") request_.duplicates = Duplicates::kIgnoreQuietly;
    if (word == "q") plan_.quicksort = true;
    if (word == "r") plan_.rebuild = true;
    if (word == "z") plan_.compact = true;
    if (word == "!" && Compound() != nullptr) Compound()->select = false;
    return word.size() < 2;
  }

  void TakeValue(std::string_view word) {
    const char letter = TakeCharacter(word);
    if (letter == 'l') request_.declaredLength = TakeNumber(word, kMaxDeclared);
    if (letter == 'm') request_.fillPercent = TakeNumber(word, 99);
    if (letter == 'x') plan_.items = std::max(TakeNumber(word, kMaxItems), 3U);
    if (letter == 'k') TakeKey(word);
    if (letter == 'p') TakeSimple(word);
    if (letter == 'c') TakeTerm(Connector::kFirst, word);
    if (letter == '&') TakeTerm(Connector::kAnd, word);
    if (letter == '|') TakeTerm(Connector::kOr, word);
  }

  void TakeKey(std::string_view word) {
    KeyRange key;
    key.from = TakeNumber(word, kMaxColumn);
    key.to = TakeCharacter(word) == '-' ? TakeNumber(word, kMaxColumn) : key.from;
    if (key.from == 0 || key.to == 0 || request_.keys.size() == kMaxKeys) return;
    const bool fits = plan_.KeyLength() + Width(key) <= kMaxKeyBytes;
    const bool overlaps = std::ranges::any_of(
        request_.keys, [&](const KeyRange& other) { return Overlap(key, other); });
    if (fits && !overlaps) request_.keys.push_back(key);
  }

  void TakeSimple(std::string_view word) {
    SimpleCondition condition;
    condition.column = TakeNumber(word, kMaxColumn);
    const char sense = TakeCharacter(word);
    condition.equal = sense == '=';
    condition.value = TakeCharacter(word);
    const bool valid = condition.column != 0 && (sense == '=' || sense == '#');
    // A double quote would begin the quoted form.
    if (valid && condition.value != '\0' && condition.value != '"') AddCondition(condition);
  }

  void AddCondition(Condition condition) {
    if (request_.conditions.size() == kMaxConditions) return;
    request_.conditions.push_back(std::move(condition));
  }

  CompoundCondition* Compound() {
    for (Condition& condition : request_.conditions) {
      if (auto* compound = std::get_if<CompoundCondition>(&condition)) return compound;
    }
    return nullptr;
  }

  void TakeTerm(Connector connector, std::string_view word) {
    CompoundTerm term;
    term.connector = connector;
    term.column = TakeNumber(word, kMaxTermColumn);
    const char letter = TakeCharacter(word);
    const auto form = std::ranges::find(kOperatorForms, letter, &OperatorForm::letter);
    term.value = word.substr(0, std::min(word.find('\0'), kMaxText));
    if (term.column == 0 || form == kOperatorForms.end() || term.value.empty()) return;
    term.op = form->op;
    CompoundCondition* compound = Compound();
    const bool first = connector == Connector::kFirst;
    if (first != (compound == nullptr)) return;
    if (first) AddCondition(CompoundCondition{.select = true, .terms = {term}});
    if (!first && compound->terms.size() < kMaxTerms) compound->terms.push_back(term);
  }

  BuildPlan plan_;
  BuildRequest& request_ = plan_.request;
};

std::string FormatText(const BuildRequest& request) {
  const std::string length = "=" + std::to_string(request.declaredLength);
  const std::string value = request.declaredLength == 0 ? "" : length;
  switch (request.format) {
    case RecordFormat::kFixedText:
      return "";
    case RecordFormat::kVariableText:
      return "v";
    case RecordFormat::kCompressedText:
      return "s";
    case RecordFormat::kBinary:
      return "f" + value;
    case RecordFormat::kBinaryWithEor:
      return "g" + value;
  }
  return "";
}

std::string DuplicatesText(Duplicates duplicates) {
  switch (duplicates) {
    case Duplicates::kStore:
      return "";
    case Duplicates::kRefuse:
      return ",n,";
    case Duplicates::kIgnore:
      return ",n0,";
    case Duplicates::kIgnoreQuietly:
      return ",n$,";
  }
  return "";
}

std::string TermText(const CompoundTerm& term) {
  const auto form = std::ranges::find(kOperatorForms, term.op, &OperatorForm::op);
  std::string text = term.connector == Connector::kAnd  ? "&"
                     : term.connector == Connector::kOr ? "|"
                                                        : "";
  text += std::to_string(term.column) + form->text + "'";
  for (const char c : term.value) text += c == '\'' ? std::string("''") : std::string(1, c);
  return text + "'";
}

std::string ConditionText(const Condition& condition) {
  if (const auto* simple = std::get_if<SimpleCondition>(&condition)) {
    return ",p" + std::to_string(simple->column) + (simple->equal ? "=" : "#") + simple->value;
  }
  const auto& compound = std::get<CompoundCondition>(condition);
  std::string text = compound.select ? ",p=" : ",p#";
  for (const CompoundTerm& term : compound.terms) text += TermText(term);
  return text;
}

std::string KeyText(const KeyRange& key) {
  return "," + std::to_string(key.from) + "-" + std::to_string(key.to);
}

std::string FillText(unsigned percent) {
  return percent == 100 ? "" : (percent < 10 ? "m0" : "m") + std::to_string(percent);
}

}  // namespace

BuildPlan ReadPlan(std::string_view line) { return PlanReader().Run(line); }

std::string BuildPlan::Options() const {
  std::string text = "-" + FormatText(request);
  if (!request.expandTabs) text += "b";
  if (request.writeAll) text += "w";
  if (request.upperCase) text += "u";
  if (errorFile) text += "e";
  text += FillText(request.fillPercent) + DuplicatesText(request.duplicates);
  for (const Condition& condition : request.conditions) text += ConditionText(condition);
  for (const KeyRange& key : request.keys) text += KeyText(key);
  return text;
}

std::string BuildPlan::MemoryOption() const {
  const unsigned share = KeyLength() + 10 + 4;  // an item and its reference
  return "-m" + std::to_string(items * share);
}

unsigned BuildPlan::KeyLength() const {
  unsigned length = 0;
  for (const KeyRange& key : request.keys) length += Width(key);
  return length;
}

}  // namespace tavindex::test
