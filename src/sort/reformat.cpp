#include "sort/reformat.h"

#include <algorithm>

#include "common/decimal.h"

namespace tavindex {

namespace {

void SkipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

// `text` is behind the opening quote.
bool ReadLiteral(ReformatList& list, std::string_view& text, ReformatItem& literal) {
  literal = {.start = static_cast<std::uint16_t>(list.literalBytes), .literal = true};
  while (!text.empty()) {
    const bool quote = text[0] == '\'';
    const bool doubled = quote && text.size() > 1 && text[1] == '\'';
    const char c = text[0];
    text.remove_prefix(doubled ? 2 : 1);
    if (quote && !doubled) return true;
    if (list.literalBytes == kLiteralPoolSize) return false;
    list.literals[list.literalBytes++] = c;
    ++literal.length;
  }
  return false;
}

bool ReadColumn(std::string_view& text, std::uint32_t& column) {
  const Decimal number = ReadDecimal(text);
  text.remove_prefix(number.digits);
  column = number.value;
  return column >= 1 && column < kEndOfReformat;
}

bool ReadRange(ReformatList& list, std::string_view& text, ReformatItem& range) {
  std::uint32_t from = 0;
  if (!ReadColumn(text, from)) return false;
  std::uint32_t to = from;
  SkipBlanks(text);
  if (!text.empty() && text[0] == '-') {
    text.remove_prefix(1);
    SkipBlanks(text);
    if (!ReadColumn(text, to) || to < from) return false;
  }
  range = {.start = static_cast<std::uint16_t>(from - 1),
           .length = static_cast<std::uint16_t>(to - from + 1)};
  list.highestColumn = std::max(list.highestColumn, to);
  return true;
}

bool ReadItem(ReformatList& list, std::string_view& text) {
  if (list.count == kMaxReformatItems) return false;
  SkipBlanks(text);
  ReformatItem item;
  const bool literal = !text.empty() && text[0] == '\'';
  if (literal) text.remove_prefix(1);
  if (!(literal ? ReadLiteral(list, text, item) : ReadRange(list, text, item))) return false;
  list.outputLength += item.length;
  list.items[list.count++] = item;
  SkipBlanks(text);
  return list.outputLength <= kMaxReformatLength;
}

}  // namespace

bool ParseReformat(RunContext& run, std::string_view text, char terminator) {
  ReformatList& list = run.keys.reformat;
  list = ReformatList{};
  for (;;) {
    if (!ReadItem(list, text)) return false;
    if (text.empty() || text[0] == terminator) break;
    if (text[0] != ',') return false;
    text.remove_prefix(1);
  }
  list.items[list.count] = {.start = kEndOfReformat, .length = 0};
  return true;
}

}  // namespace tavindex
