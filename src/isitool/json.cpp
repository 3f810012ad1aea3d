#include "isitool/json.h"

#include "isitool/text.h"

namespace tavindex {

namespace {

bool StandsForItself(std::string_view text, std::size_t length) {
  if (length > 1) return true;
  return length == 1 && text[0] >= ' ' && text[0] != '"' && text[0] != '\\';
}

}  // namespace

std::string JsonText(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    const std::size_t length = Utf8Length(text);
    const bool plain = StandsForItself(text, length);
    if (plain) {
      quoted += text.substr(0, length);
    } else if (text[0] == '"' || text[0] == '\\') {
      quoted += {'\\', text[0]};
    } else {
      quoted += Format("\\u00%02X", static_cast<unsigned>(static_cast<unsigned char>(text[0])));
    }
    text.remove_prefix(plain ? length : 1);
  }
  return quoted + "\"";
}

void Json::Separate() {
  if (!named_ && !filled_.empty()) {
    if (filled_.back()) Put(",");
    filled_.back() = true;
  }
  named_ = false;
}

void Json::Begin(char bracket) {
  Separate();
  Put({&bracket, 1});
  filled_.push_back(false);
}

void Json::End(char bracket) {
  filled_.pop_back();
  Put({&bracket, 1});
}

void Json::Name(std::string_view name) {
  Separate();
  Put(JsonText(name));
  Put(":");
  named_ = true;
}

void Json::Text(std::string_view text) {
  Separate();
  Put(JsonText(text));
}

void Json::Number(std::uint64_t number) {
  Separate();
  Put(std::to_string(number));
}

void Json::Bool(bool value) {
  Separate();
  Put(value ? "true" : "false");
}

void Json::Null() {
  Separate();
  Put("null");
}

void Json::TextMember(std::string_view name, std::string_view text) {
  Name(name);
  Text(text);
}

void Json::NumberMember(std::string_view name, std::uint64_t number) {
  Name(name);
  Number(number);
}

void Json::BoolMember(std::string_view name, bool value) {
  Name(name);
  Bool(value);
}

void Json::NullMember(std::string_view name) {
  Name(name);
  Null();
}

void Json::EndLine() { Put("\n"); }

}  // namespace tavindex
