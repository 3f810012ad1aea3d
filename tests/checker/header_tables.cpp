#include "header_tables.h"

#include <algorithm>

namespace tavindex::test {
namespace {

HeaderCondition SlotOf(const Condition& condition) {
  if (const auto* simple = std::get_if<SimpleCondition>(&condition)) {
    return {static_cast<std::uint16_t>(simple->column),
            simple->equal ? layout::kConditionEqual : layout::kConditionNotEqual,
            static_cast<std::uint8_t>(simple->value)};
  }
  const auto& compound = std::get<CompoundCondition>(condition);
  unsigned highest = 0;
  for (const CompoundTerm& term : compound.terms) highest = std::max(highest, term.column);
  return {static_cast<std::uint16_t>(highest),
          compound.select ? layout::kConditionEqual : layout::kConditionNotEqual, 0};
}

}  // namespace

std::vector<HeaderCondition> ConditionTableOf(const BuildRequest& request) {
  std::vector<HeaderCondition> table;
  for (const Condition& condition : request.conditions) table.push_back(SlotOf(condition));
  std::stable_sort(
      table.begin(), table.end(),
      [](const HeaderCondition& a, const HeaderCondition& b) { return a.column < b.column; });
  if (table.size() > layout::kConditionSlots) table.resize(layout::kConditionSlots);
  return table;
}

std::vector<HeaderKeyField> KeyTableOf(const BuildRequest& request) {
  std::vector<HeaderKeyField> table;
  for (const KeyRange& range : request.keys) {
    const auto [low, high] = std::minmax(range.from, range.to);
    table.push_back(
        {static_cast<std::uint16_t>(low - 1), static_cast<std::uint16_t>(high - low + 1)});
  }
  if (table.size() > layout::kMaxKeyFields) table.resize(layout::kMaxKeyFields);
  return table;
}

}  // namespace tavindex::test
