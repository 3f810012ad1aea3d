// The fixture of the tests in this folder: a data file, a sort area of a wanted size, work files,
// and the items that a routine left in any of them.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "common/bytes.h"
#include "common/console.h"
#include "common/file.h"
#include "sort/conditions.h"
#include "sort/key_map.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"
#include "support/run_test.h"

namespace tavindex::test {

struct Item {
  std::uint64_t lfa = 0;
  std::uint32_t length = 0;
  std::string key;

  bool operator==(const Item&) const = default;
};

inline const Item kEndItem{.lfa = UINT64_MAX, .length = 0xFFFF, .key = {}};

inline void PrintTo(const Item& item, std::ostream* out) {
  *out << "{" << item.lfa << ", " << item.length << ", " << ::testing::PrintToString(item.key)
       << "}";
}

inline void AppendLe(std::string& bytes, std::uint64_t value, int width) {
  for (int i = 0; i < width; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
}

// The bytes of an item as they stand in a work file.
inline std::string ItemBytes(const Item& item) {
  std::string bytes;
  AppendLe(bytes, item.lfa, 8);
  AppendLe(bytes, item.length, 2);
  return bytes + item.key;
}
inline std::string MarkerBytes(std::uint32_t keyLength) {
  std::string bytes(10, '\xFF');
  for (std::uint32_t i = 0; i < keyLength; ++i) bytes.push_back(i < 2 ? '\xFF' : '\0');
  return bytes;
}

// Sets the answer of the cancel poll for a while: false for the first `polls` questions, then true.
class CancelAfter {
 public:
  explicit CancelAfter(int polls) : before_(cancelPoll) {
    left_ = polls;
    cancelPoll = [] { return left_-- <= 0; };
  }
  ~CancelAfter() { cancelPoll = before_; }
  CancelAfter(const CancelAfter&) = delete;
  CancelAfter& operator=(const CancelAfter&) = delete;

 private:
  static inline int left_ = 0;
  CancelPoll before_;
};

class SortTest : public RunTest {
 protected:
  void OpenData(std::string_view bytes) {
    CloseFile(run.files.inputFd);
    run.files.inputFd = OpenFile(scratch.Write("data.txt", bytes).c_str(), O_RDWR);
  }

  void UseSortMode() {
    run.control.sortMode = true;
    run.control.indexMode = false;
    run.control.commandWord = "SORT";
  }
  void UseEor(std::string_view mark) {
    run.data.eorLength = static_cast<std::uint8_t>(mark.size());
    run.data.eorChar1 = static_cast<std::uint8_t>(mark[0]);
    run.data.eorChar2 = mark.size() > 1 ? static_cast<std::uint8_t>(mark[1]) : std::uint8_t{0};
  }
  void UseVariable() { run.options.variableRecords = true; }
  void UseBinary(std::uint32_t recordLength) {
    run.options.binaryRecords = true;
    run.data.eorLength = 0;
    run.data.recordLength = recordLength;
  }

  // A key of one column range, and a sort area for `records` records beside its end marker.
  void UseKey(std::uint32_t from, std::uint32_t to, std::uint32_t records) {
    ASSERT_EQ(AddKeyRange(run, from, to), kOk);
    FinishKeyMap(run);
    SizeArea(records);
  }
  void SizeArea(std::uint32_t records) {
    const std::uint32_t share = run.keys.keyLength + 10 + 4;
    UseArea(share * (records + 2));
    ASSERT_EQ(run.sort.maxItems, records + 1);
  }
  void UseArea(std::uint32_t bytes) {
    run.sort.sortAreaSize = bytes;
    ASSERT_TRUE(run.sort.sortMemory.AllocateZeroed(bytes));
    run.sort.sortMemoryBase = run.sort.sortMemory.Data();
    SizeSortArea(run, run.keys.keyLength);
  }

  // Compiles a condition as it stands behind the option letter.
  Result AddConditionText(std::string_view text) {
    texts_.emplace_back(text);
    ConditionText condition{.text = texts_.back()};
    const Result result = AddCondition(run, condition);
    conditionEnd = condition.at;
    return result;
  }

  Item ItemAt(const std::uint8_t* at) const {
    if (item::IsEndMarker(at)) return kEndItem;
    return {item::Lfa(at), item::RecLength(at),
            std::string(reinterpret_cast<const char*>(at + 10), run.keys.keyLength)};
  }
  // The items of the sort area, up to its end marker, which must be there.
  std::vector<Item> AreaItems() const {
    std::vector<Item> items;
    const std::uint8_t* at = run.sort.sortMemoryBase;
    for (std::uint32_t i = 0; i < run.sort.maxItems; ++i, at += run.sort.itemSize) {
      if (item::IsEndMarker(at)) return items;
      items.push_back(ItemAt(at));
    }
    ADD_FAILURE() << "no end marker in the area";
    return items;
  }
  std::vector<std::string> AreaKeys() const {
    std::vector<std::string> keys;
    for (const Item& item : AreaItems()) keys.push_back(item.key);
    return keys;
  }
  // Fills the sort area as the scanner does.
  void FillArea(const std::vector<Item>& items) {
    std::uint8_t* at = run.sort.sortMemoryBase;
    for (const Item& item : items) {
      const std::string bytes = ItemBytes(item);
      std::copy(bytes.begin(), bytes.end(), at);
      at += run.sort.itemSize;
    }
    item::WriteEndMarker(at, run.sort.itemSize);
  }

  void OpenWorkFiles() {
    FileState& files = run.files;
    files.workFd1 = OpenFile(scratch.Path("work1").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    files.workFd2 = OpenFile(scratch.Path("work2").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    files.workFile = files.workFd1;
    files.mergeInput = files.workFd2;
    ASSERT_TRUE(run.sort.trainTable.Allocate((std::size_t{20000} + 1) * 8));
  }
  // The items of a work file, end markers included.
  std::vector<Item> WorkItems(std::string_view name) const {
    const std::string bytes = scratch.Read(name);
    EXPECT_EQ(bytes.size() % run.sort.itemSize, 0U);
    std::vector<Item> items;
    for (std::size_t at = 0; at < bytes.size(); at += run.sort.itemSize) {
      items.push_back(ItemAt(AsBytes(bytes).data() + at));
    }
    return items;
  }

  std::size_t conditionEnd = 0;

 private:
  std::deque<std::string> texts_;
};

// Collects what the merge delivers.
class Delivered {
 public:
  explicit Delivered(RunContext& run) {
    items.clear();
    answer = [](std::size_t) { return kOk; };
    run.sort.itemConsumer = [](RunContext& context, const std::uint8_t* at) -> Result {
      items.push_back(
          {item::Lfa(at), item::RecLength(at),
           std::string(reinterpret_cast<const char*>(at + 10), context.keys.keyLength)});
      return answer(items.size());
    };
  }
  static inline std::vector<Item> items;
  // What the consumer answers to the nth item.
  static inline std::function<Result(std::size_t)> answer;
};

}  // namespace tavindex::test
