// Record conditions: compiled here from the option text, evaluated by the scanner.
//
//   p11=A  p11#A              simple: column 11 is, or is not, an A
//   p=1='A'&20>='X'           compound: terms joined by & and |, & binding tighter
//   p#1='A'|2='B'             compound, the records for which the whole is false
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "common/run_context.h"

namespace tavindex {

// A text being compiled: `at` is the next character; quoted values are closed up in place.
struct ConditionText {
  std::span<char> text;
  std::size_t at = 0;
};

// Compiles the condition at `condition.at`, which is behind the option letter, and moves past it.
// kBadCondition or kTooManyConditions. In an index run it also enters the header's table.
Result AddCondition(RunContext& run, ConditionText& condition);

// Compiles the list of a compound condition (behind its sense character). Gives the map entry that
// must carry the sense: the one of the highest column. Null when the list is not well formed.
KeyMapEntry* ParseCompound(RunContext& run, ConditionText& condition);

// Forgets what the terms found in the last record.
void ResetTerms(RunContext& run);

// Evaluates every term on `column` (from 0) against the record from scanPtr on.
void EvaluateTerms(RunContext& run, std::uint32_t column);

// The truth of the whole from the terms evaluated so far, a term not evaluated being false.
// Forgets their results.
bool CompoundTruth(RunContext& run);

}  // namespace tavindex
