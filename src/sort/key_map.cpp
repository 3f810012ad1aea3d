#include "sort/key_map.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "common/console.h"

namespace tavindex {

namespace {

constexpr std::uint16_t kConditionMask = kTestMask | kCompound;

std::span<KeyMapEntry> Entries(KeyState& keys) { return {keys.keyMap.data(), keys.keyMapCount}; }

std::uint32_t CountKeyBytes(KeyState& keys) {
  const auto entries = Entries(keys);
  return static_cast<std::uint32_t>(std::count_if(
      entries.begin(), entries.end(), [](const KeyMapEntry& e) { return e.flags & kKeyByte; }));
}

// The entry that the column's key byte goes into: the column's last condition entry, or a new one.
KeyMapEntry& EntryForKeyByte(KeyState& keys, std::uint32_t column) {
  KeyMapEntry* found = nullptr;
  for (KeyMapEntry& entry : Entries(keys)) {
    if (entry.recordPos == column) found = &entry;
  }
  if (found != nullptr) return *found;
  KeyMapEntry& added = keys.keyMap[keys.keyMapCount++];
  added = KeyMapEntry{};
  return added;
}

bool IsKeyColumn(KeyState& keys, std::uint32_t column) {
  return std::ranges::any_of(Entries(keys), [column](const KeyMapEntry& e) {
    return e.recordPos == column && (e.flags & kKeyByte) != 0;
  });
}

Result AddKeyColumn(RunContext& run, std::uint32_t column, std::uint32_t keyPos) {
  KeyState& keys = run.keys;
  if (IsKeyColumn(keys, column)) return kOverlappingKeys;
  KeyMapEntry& entry = EntryForKeyByte(keys, column);
  entry.recordPos = static_cast<std::uint16_t>(column);
  entry.keyPos = static_cast<std::uint16_t>(keyPos);
  unsigned flags = entry.flags | kKeyByte;
  if (run.options.descendingKeys) flags |= kDescending;
  if (run.options.upperCaseKeys) flags |= kUpperCase;
  entry.flags = static_cast<std::uint16_t>(flags);
  if (keys.keyMapCount > kMaxKeyMapEntries) return kTooManyKeyBytes;
  ++keys.keyLength;
  return kOk;
}

bool StandsBefore(const KeyMapEntry& a, const KeyMapEntry& b) {
  if (a.recordPos != b.recordPos) return a.recordPos < b.recordPos;
  return (a.flags & kKeyByte) < (b.flags & kKeyByte);
}

struct FlagName {
  std::uint16_t flag;
  const char* text;
};

constexpr FlagName kFlagNames[] = {
    {kKeyByte, "  Key;"},       {kTestNotEqual, "  != match;"}, {kTestEqual, "  = match;"},
    {kCompound, "  extended;"}, {kUpperCase, "  Upper Case;"},  {kDescending, "  Descending;"},
};

std::string DescribeEntry(const KeyMapEntry& entry) {
  char columns[32];
  const int keyColumn = (entry.flags & kKeyByte) != 0 ? entry.keyPos + 1 : 0;
  std::snprintf(columns, sizeof columns, "%5d %5d", entry.recordPos + 1, keyColumn);
  std::string line = columns;
  const bool hasCharacter = (entry.flags & kTestMask) != 0 && (entry.flags & kCompound) == 0;
  if (hasCharacter) {
    line += "  '";
    line += static_cast<char>(entry.compareChar);
    line += "'";
  } else {
    line += "     ";
  }
  for (const FlagName& name : kFlagNames) {
    if ((entry.flags & name.flag) != 0) line += name.text;
  }
  return line + "\n";
}

bool ContinuesRun(const KeyRun& run, const KeyMapEntry& entry) {
  return run.recordPos + run.length == entry.recordPos && run.keyPos + run.length == entry.keyPos;
}

void CollectKeyRuns(KeyState& keys) {
  keys.keyRunCount = 0;
  keys.keyIsPlain = true;
  keys.keyEnd = keys.keyMapCount == 0 ? 0 : Entries(keys).back().recordPos + 1U;
  for (const KeyMapEntry& entry : Entries(keys)) {
    if (entry.flags != kKeyByte) keys.keyIsPlain = false;
    if ((entry.flags & kKeyByte) != 0) keys.keyColumns[entry.keyPos] = entry.recordPos;
    if (keys.keyRunCount > 0 && ContinuesRun(keys.keyRuns[keys.keyRunCount - 1], entry)) {
      ++keys.keyRuns[keys.keyRunCount - 1].length;
    } else if (keys.keyRunCount < keys.keyRuns.size()) {
      keys.keyRuns[keys.keyRunCount++] = {entry.recordPos, entry.keyPos, 1};
    }
  }
}

}  // namespace

Result AddKeyRange(RunContext& run, std::uint32_t from, std::uint32_t to) {
  std::uint32_t keyPos = CountKeyBytes(run.keys);
  const bool upwards = to >= from;
  for (std::uint32_t column = from;; column = upwards ? column + 1 : column - 1) {
    const Result result = AddKeyColumn(run, column - 1, keyPos++);
    if (result != kOk || column == to) return result;
  }
}

KeyMapEntry* FindConditionEntry(RunContext& run, std::uint32_t column) {
  KeyState& keys = run.keys;
  for (KeyMapEntry& entry : Entries(keys)) {
    if (entry.recordPos == column && (entry.flags & kConditionMask) == 0) return &entry;
  }
  // A condition may not take the last entry: it must be left for a key byte.
  if (keys.keyMapCount + 1 >= kMaxKeyMapEntries) return nullptr;
  KeyMapEntry& added = keys.keyMap[keys.keyMapCount++];
  added = KeyMapEntry{};
  added.recordPos = static_cast<std::uint16_t>(column);
  return &added;
}

void FinishKeyMap(RunContext& run) {
  KeyState& keys = run.keys;
  const auto entries = Entries(keys);
  std::ranges::stable_sort(entries, StandsBefore);
  keys.keyMap[keys.keyMapCount] = KeyMapEntry{};
  keys.keyMap[keys.keyMapCount].keyPos = kEndOfKeyMap;
  CollectKeyRuns(keys);
  keys.conditionCount = static_cast<std::uint8_t>(std::ranges::count_if(
      entries, [](const KeyMapEntry& e) { return (e.flags & kTestMask) != 0; }));
}

void ListKeyMap(RunContext& run) {
  if (!run.control.debugMode) return;
  ShowMessage(run, "  Col   Pos Char  Other\n");
  for (const KeyMapEntry& entry : Entries(run.keys)) ShowMessage(run, DescribeEntry(entry).c_str());
}

}  // namespace tavindex
