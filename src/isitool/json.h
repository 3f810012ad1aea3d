// Writes JSON as it comes, without blanks. Texts are bytes of files and may be anything:
// well-formed UTF-8 stands as it is, every other byte as \u00XX, so that what is written is always
// valid.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tavindex {

// `text` with its quotes.
std::string JsonText(std::string_view text);

class Json {
 public:
  explicit Json(std::FILE* out) : out_(out) {}

  void BeginObject() { Begin('{'); }
  void EndObject() { End('}'); }
  void BeginArray() { Begin('['); }
  void EndArray() { End(']'); }

  // The name of the next value of an object.
  void Name(std::string_view name);

  void Text(std::string_view text);
  void Number(std::uint64_t number);
  void Bool(bool value);
  void Null();

  // A name and its value.
  void TextMember(std::string_view name, std::string_view text);
  void NumberMember(std::string_view name, std::uint64_t number);
  void BoolMember(std::string_view name, bool value);
  void NullMember(std::string_view name);

  // Ends a document, or one line of several.
  void EndLine();

 private:
  void Begin(char bracket);
  void End(char bracket);
  void Separate();
  void Put(std::string_view text) { std::fwrite(text.data(), 1, text.size(), out_); }

  std::FILE* out_;
  std::vector<bool> filled_;  // of each open bracket: something stands in it
  bool named_ = false;        // the value of a name comes next
};

}  // namespace tavindex
