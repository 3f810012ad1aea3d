#include "driver/split_command_line.h"

#include <algorithm>
#include <cstring>

namespace tavindex {

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t'; }
bool IsValueSign(char c) { return c == '=' || c == '#'; }
bool StartsToken(char c) { return static_cast<unsigned char>(c) >= 32; }

class Splitter {
 public:
  Splitter(char* text, TokenList& list) : begin_(text), at_(text), list_(list) {}

  void Run() {
    if (*at_ == '"') OpenQuoted();
    while (*at_ != '\0') {
      if (quoted_) {
        StepQuoted();
      } else {
        StepPlain();
      }
    }
    EndToken();
  }

 private:
  char Before() const { return at_ > begin_ ? at_[-1] : '\0'; }

  void StartToken(char* start, TokenKind kind) {
    token_ = start;
    kind_ = kind;
  }

  // Counts the open token, if there is one.
  void EndToken() {
    if (token_ == nullptr) return;
    if (list_.count < kMaxTokens) list_.tokens[list_.count++] = {token_, kind_};
    token_ = nullptr;
    kind_ = TokenKind::kNone;
  }

  void SkipSpaces() {
    while (IsSpace(*at_)) ++at_;
  }

  static void DeleteChar(char* place) { std::memmove(place, place + 1, std::strlen(place)); }

  // A quoted token begins behind its quote.
  void OpenQuoted() {
    *at_++ = '\0';
    StartToken(at_, TokenKind::kDoubleQuote);
    quoted_ = true;
  }

  void StepQuoted() {
    if (*at_ != '"') {
      ++at_;
      return;
    }
    *at_++ = '\0';
    quoted_ = false;
    if (IsSpace(*at_)) {
      kind_ = TokenKind::kSingleQuote;
      SkipSpaces();
      EndToken();
      afterSpace_ = true;
    } else {
      EndToken();
    }
    if (*at_ == '"') OpenQuoted();
  }

  void StepPlain() {
    switch (*at_) {
      case '\'':
        return TakeSection('\'');
      case '"':
        return StepQuote();
      case ',':
        return StepComma();
      case ' ':
        return StepSpace();
      default:
        return TakeChar();
    }
  }

  void TakeChar() {
    if (token_ == nullptr && StartsToken(*at_)) StartToken(at_, NextKind());
    ++at_;
  }

  TokenKind NextKind() {
    const bool behindSpace = afterSpace_;
    afterSpace_ = false;
    return behindSpace ? TokenKind::kSpace : TokenKind::kNone;
  }

  // Runs to the next `quote`, inside the token.
  void TakeSection(char quote) {
    if (token_ == nullptr) StartToken(at_, NextKind());
    ++at_;
    while (*at_ != '\0' && *at_ != quote) ++at_;
    if (*at_ != '\0') ++at_;
  }

  void StepQuote() {
    const char before = Before();
    if (before == '\\') {
      DeleteChar(at_ - 1);  // at_ is now behind the quote, which took the backslash's place
      return;
    }
    if (before == 'r' || before == 'R') return TakeSection('"');
    const bool oneCharacterValue = IsValueSign(before) && at_[1] != '\0' && at_[2] == '"';
    if (oneCharacterValue) {
      at_ += 3;
      return;
    }
    EndToken();
    OpenQuoted();
  }

  void StepComma() {
    if (token_ == nullptr) StartToken(at_, TokenKind::kComma);
    *at_++ = '\0';
    kind_ = TokenKind::kComma;
    EndToken();
    SkipSpaces();
    afterSpace_ = false;
    if (*at_ == '"') OpenQuoted();
  }

  void StepSpace() {
    if (IsValueSign(Before())) {
      if (at_[1] == ',') {
        ++at_;
        return;
      }
      if (at_[1] == ' ') ++at_;  // the first is the value, the second ends the token
    }
    *at_++ = '\0';
    EndToken();
    SkipSpaces();
    afterSpace_ = true;
  }

  char* begin_;
  char* at_;
  TokenList& list_;
  char* token_ = nullptr;
  TokenKind kind_ = TokenKind::kNone;
  bool quoted_ = false;
  bool afterSpace_ = false;
};

}  // namespace

void SplitCommandLine(const char* commandWord, char* text, TokenList& list) {
  list = TokenList{};
  list.tokens[list.count++] = {commandWord, TokenKind::kNone};
  Splitter(text, list).Run();
}

char* SkipProgramName(char* text) {
  std::replace(text, text + std::strlen(text), '\t', ' ');
  text += std::strspn(text, " ");
  char* end = *text == '"' ? std::strchr(text + 1, '"') : std::strchr(text, ' ');
  if (end == nullptr) return text;
  ++end;
  return end + std::strspn(end, " ");
}

}  // namespace tavindex
