// The other source of the driver's arguments: a command line given as one text.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace tavindex {

inline constexpr std::size_t kMaxTokens = 123;

enum class TokenKind : std::uint8_t {
  kNone,
  kDoubleQuote,  // a double-quoted string directly followed by more text
  kSingleQuote,  // a double-quoted string followed by white space
  kComma,        // the token ended at a ','
  kSpace,        // the token began after white space
};

struct Token {
  const char* text = "";
  TokenKind kind = TokenKind::kNone;
};

struct TokenList {
  std::array<Token, kMaxTokens + 1> tokens{};  // ended by an empty entry
  std::size_t count = 0;                       // tokens in use, the command word included
};

// Cuts `text` in place, writing terminators into it; the tokens refer into it. Token 0 is
// `commandWord`; tokens beyond the list's capacity are not counted.
//
//  - A double quote at the start, or outside quotes, opens a quoted token, which the next double
//    quote closes; directly behind "i" (as in -i"file") the token begins just after the quote.
//  - A single quote opens a section that runs to the next one and stays inside the token; so does a
//    double quote directly behind "r".
//  - A double quote behind a backslash is a character, and the backslash goes; one behind "=" or
//    "#" whose second next character is a double quote is kept as it stands (p11="A").
//  - A ',' ends a token, also an empty one; a space does, except as the value behind "=" or "#".
//  - Characters below 32 never start a token.
void SplitCommandLine(const char* commandWord, char* text, TokenList& list);

// The text behind the program's name, which is the first word or the first quoted string; TABs
// become spaces first.
char* SkipProgramName(char* text);

}  // namespace tavindex
