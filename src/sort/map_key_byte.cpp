#include "sort/map_key_byte.h"

#include "sort/conditions.h"

namespace tavindex {

namespace {

// Tests the entry's condition on `byte` and counts it. An entry without a test passes uncounted.
bool PassesTest(RunContext& run, const KeyMapEntry& entry, std::uint8_t byte) {
  if ((entry.flags & (kTestMask | kCompound)) == 0) return true;
  if ((entry.flags & kCompound) != 0) EvaluateTerms(run, entry.recordPos);
  if ((entry.flags & kTestMask) == 0) return true;
  const bool equal =
      (entry.flags & kCompound) != 0 ? CompoundTruth(run) : byte == entry.compareChar;
  const bool wanted = (entry.flags & kTestEqual) != 0;
  if (equal != wanted) {
    run.scan.conditionsMet = 0;
    return false;
  }
  ++run.scan.conditionsMet;
  return true;
}

// The digits of a negative number are turned around, so that they sort below the blanks and the
// positive digits, the larger ones first.
std::uint8_t SignAware(ScanState& scan, std::uint8_t byte) {
  if (scan.negativeState) return static_cast<std::uint8_t>('O' - byte);
  if (byte != '-') return byte;
  scan.negativeState = true;
  return ' ';
}

std::uint8_t TransformForSort(RunContext& run, const KeyMapEntry& entry, std::uint8_t byte) {
  ScanState& scan = run.scan;
  if (scan.translationTable != nullptr) byte = scan.translationTable[byte];
  if ((entry.flags & kSubtract) != 0) byte = static_cast<std::uint8_t>(byte - entry.subtractValue);
  if ((entry.flags & kSignAware) != 0) byte = SignAware(scan, byte);
  if ((entry.flags & kEndNegative) != 0) scan.negativeState = false;
  if ((entry.flags & kDescending) != 0) byte = static_cast<std::uint8_t>(~byte);
  return byte;
}

std::uint8_t Transform(RunContext& run, const KeyMapEntry& entry, std::uint8_t byte) {
  const bool lowerCase = byte >= 'a' && byte <= 'z';
  if ((entry.flags & kUpperCase) != 0 && lowerCase) byte = static_cast<std::uint8_t>(byte - 32);
  return run.control.sortMode ? TransformForSort(run, entry, byte) : byte;
}

}  // namespace

std::int32_t MapKeyByte(RunContext& run, std::uint32_t column, std::uint8_t& byte) {
  for (;; ++run.scan.mapCursor) {
    const KeyMapEntry& entry = run.keys.keyMap[run.scan.mapCursor];
    if (entry.keyPos == kEndOfKeyMap) return kMapExhausted;
    if (entry.recordPos > column) return SkipColumns(entry.recordPos - column - 1);
    if (entry.recordPos < column) continue;
    if (!PassesTest(run, entry, byte)) return kConditionFailed;
    if ((entry.flags & kKeyByte) == 0) continue;
    byte = Transform(run, entry, byte);
    ++run.scan.mapCursor;
    return entry.keyPos;
  }
}

std::int32_t PadKeyBytes(RunContext& run, std::uint8_t& byte) {
  for (;; ++run.scan.mapCursor) {
    const KeyMapEntry& entry = run.keys.keyMap[run.scan.mapCursor];
    if (entry.keyPos == kEndOfKeyMap) return kMapExhausted;
    if (!PassesTest(run, entry, byte)) return kMapExhausted;
    if ((entry.flags & kKeyByte) == 0) continue;
    // A padding space is negated, not complemented: 0xE0, one above what a real space becomes.
    const bool negated = run.control.sortMode && (entry.flags & kDescending) != 0;
    if (negated) byte = static_cast<std::uint8_t>(-byte);
    ++run.scan.mapCursor;
    return entry.keyPos;
  }
}

}  // namespace tavindex
