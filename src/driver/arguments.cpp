#include "driver/arguments.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "common/console.h"

namespace tavindex {

namespace {

std::string EchoOf(const Token& token, bool fromText) {
  const std::string text = token.text;
  if (!fromText) return text + " ";
  switch (token.kind) {
    case TokenKind::kDoubleQuote:
      return "\"" + text + "\"";
    case TokenKind::kSingleQuote:
      return " \"" + text + "\"";
    case TokenKind::kComma:
      return text + ",";
    default:
      return " " + text + " ";
  }
}

std::string JoinedForm(const Token& token) {
  std::string text = token.text;
  switch (token.kind) {
    case TokenKind::kDoubleQuote:
      return "\"" + text + "\"";
    case TokenKind::kSingleQuote:
      return "\"" + text + "\" ";
    case TokenKind::kComma:
      return text + ",";
    default:
      return text;
  }
}

// Whether the token behind needs a space before it: not when this one ended with a separator of
// its own, or was a quoted piece that touches the next.
bool NeedsSpaceBehind(TokenKind before) {
  return before == TokenKind::kNone || before == TokenKind::kSpace;
}

}  // namespace

void EchoArguments(RunContext& run, const Arguments& arguments) {
  for (std::size_t i = 0; i < arguments.count; ++i) {
    ShowMessage(run, EchoOf(arguments.tokens[i], arguments.fromText).c_str());
  }
  ShowMessage(run, "\n");
}

bool JoinCommandLine(RunContext& run, const Arguments& arguments) {
  std::string joined;
  for (std::size_t i = arguments.next; i < arguments.count; ++i) {
    const bool first = i == arguments.next;
    if (!first && NeedsSpaceBehind(arguments.tokens[i - 1].kind)) joined += ' ';
    joined += JoinedForm(arguments.tokens[i]);
  }
  char* line = reinterpret_cast<char*>(run.control.commandLine.Data());
  const std::size_t kept = std::min(joined.size(), kCommandLineSize - 1);
  std::memcpy(line, joined.data(), kept);
  line[kept] = '\0';
  return kept == joined.size();
}

}  // namespace tavindex
