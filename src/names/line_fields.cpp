#include "names/line_fields.h"

#include "names/field_text.h"
#include "names/file_name.h"

namespace tavindex {

namespace {

bool SkipName(FieldText& text) {
  PathText name;
  const std::int32_t consumed =
      ParseFileName(text.line.substr(text.at), name, kNameCapacity, NameRule::kLong);
  if (consumed < 0) return false;
  text.at += static_cast<std::size_t>(consumed);
  return text.FieldEnds();
}

}  // namespace

bool FindLineFields(std::string_view line, LineFields& fields) {
  FieldText text{.line = line};
  if (!SkipName(text)) return false;
  fields = LineFields{.firstEnd = text.at};
  SkipSeparator(text);
  if (!text.OptionsBegin()) {
    fields.hasSecond = true;
    fields.secondStart = text.at;
    if (!SkipName(text)) return false;
    fields.secondEnd = text.at;
  }
  fields.hasOptions = line.find_first_of("-;", text.at) != std::string_view::npos;
  return true;
}

}  // namespace tavindex
