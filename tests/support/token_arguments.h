// Arguments of a run made from a list of texts, as the program entry makes them from argv.
#pragma once

#include <string>
#include <vector>

#include "driver/arguments.h"

namespace tavindex::test {

class TokenArguments {
 public:
  // The program's name comes first by itself.
  explicit TokenArguments(std::vector<std::string> texts) : texts_(std::move(texts)) {
    texts_.insert(texts_.begin(), "tavindex");
    for (const std::string& text : texts_) tokens_.push_back({text.c_str(), TokenKind::kNone});
    arguments.tokens = tokens_.data();
    arguments.count = tokens_.size();
  }
  TokenArguments(const TokenArguments&) = delete;
  TokenArguments& operator=(const TokenArguments&) = delete;

 private:
  std::vector<std::string> texts_;
  std::vector<Token> tokens_;

 public:
  Arguments arguments;
};

}  // namespace tavindex::test
