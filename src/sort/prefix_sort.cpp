#include "sort/prefix_sort.h"

#include <algorithm>
#include <cstring>

#include "sort/distribution.h"
#include "sort/key_prefix.h"
#include "sort/sort_item.h"
#include "sort/sort_methods.h"

namespace tavindex {

namespace {

constexpr std::uint32_t kPrefixBytes = 8;

struct PrefixRef {
  std::uint64_t prefix;
  std::uint32_t offset;
};
static_assert(sizeof(PrefixRef) == 16);

// Larger ranges of the table are distributed by their next byte first. With 36 different bytes, as
// in random letters and digits, a second distribution saves a fifth of the instructions of a whole
// build; anything from 128 to 1024 serves as well, and a range must be worth 256 buckets.
constexpr std::size_t kDistributeAbove = 512;

// One byte of the keys of the sort area.
struct KeyByte {
  const std::uint8_t* at;  // of the item at offset 0
  std::uint8_t Of(std::uint32_t offset) const { return at[offset]; }
  void Fetch(std::uint32_t offset) const { __builtin_prefetch(at + offset); }
};

// One byte of the prefixes in the table, which need no fetching.
struct PrefixByte {
  std::uint32_t shift;  // bits behind the byte
  std::uint8_t Of(const PrefixRef& ref) const {
    return static_cast<std::uint8_t>(ref.prefix >> shift);
  }
  void Fetch(const PrefixRef& /*ref*/) const {}
};

class AreaSorter {
 public:
  AreaSorter(RunContext& run, std::span<PrefixRef> table)
      : keys_(run.sort.sortMemoryBase + item::kKey),
        keyLength_(run.keys.keyLength),
        method_(run.control.sortMethod),
        table_(table) {}

  void Sort(std::span<std::uint32_t> refs) {
    if (!InOrder(refs)) SortRange(refs, 0);
  }

 private:
  using Refs = std::span<std::uint32_t>;
  using Table = std::span<PrefixRef>;

  bool InOrder(Refs refs) const {
    for (std::size_t i = 1; i < refs.size(); ++i) {
      if (CompareItems(keys_ + refs[i - 1], keys_ + refs[i], keyLength_) > 0) return false;
    }
    return true;
  }

  // How many bytes from the start all keys have in common, `known` of them at least.
  std::uint32_t SharedBytes(Refs refs, std::uint32_t known) const {
    const std::uint8_t* first = keys_ + refs.front();
    std::uint32_t shared = keyLength_;
    for (const std::uint32_t ref : refs) {
      if (shared == known) break;
      const std::uint8_t* key = keys_ + ref;
      if (std::memcmp(first + known, key + known, shared - known) == 0) continue;
      shared = static_cast<std::uint32_t>(
          std::mismatch(first + known, first + shared, key + known).first - first);
    }
    return shared;
  }

  // Sorts references whose keys share their first `depth` bytes.
  void SortRange(Refs refs, std::uint32_t depth) {
    if (refs.size() < 2) return;
    depth = SharedBytes(refs, depth);
    if (depth == keyLength_) return SortByItems(refs);
    if (refs.size() <= table_.size()) return SortByPrefix(refs, depth);
    const BucketEnds ends = Distribute(refs, KeyByte{keys_ + depth});
    ForEachBucket(refs, ends, [&](Refs bucket) { SortRange(bucket, depth + 1); });
  }

  // Equal keys: only their addresses differ.
  void SortByItems(Refs refs) {
    const auto before = [this](std::uint32_t a, std::uint32_t b) {
      return CompareItems(keys_ + a, keys_ + b, keyLength_) < 0;
    };
    SortWithMethod(refs, before, method_);
  }

  // Looks at each key once, for its eight bytes from `depth` on.
  void SortByPrefix(Refs refs, std::uint32_t depth) {
    const Table table = table_.first(refs.size());
    const std::uint32_t rest = keyLength_ - depth;
    const KeyByte key{keys_ + depth};
    for (std::size_t i = 0; i < refs.size(); ++i) {
      if (i + kFetchAhead < refs.size()) key.Fetch(refs[i + kFetchAhead]);
      table[i] = {KeyPrefix(key.at + refs[i], rest), refs[i]};
    }
    SortTable(table, 8 * kPrefixBytes);
    for (std::size_t i = 0; i < refs.size(); ++i) refs[i] = table[i].offset;
    SortTies(refs, depth + std::min(rest, kPrefixBytes));
  }

  // Sorts by the last `bits` of the prefixes; those before them are the same for all.
  void SortTable(Table table, std::uint32_t bits) {
    if (table.size() < 2) return;
    if (table.size() > kDistributeAbove && bits > 0) {
      const BucketEnds ends = Distribute(table, PrefixByte{bits - 8});
      return ForEachBucket(table, ends, [&](Table bucket) { SortTable(bucket, bits - 8); });
    }
    const auto before = [](const PrefixRef& a, const PrefixRef& b) { return a.prefix < b.prefix; };
    SortWithMethod(table, before, method_);
  }

  // Sorts the references whose prefixes, still in the table, are equal: by what is behind them, at
  // `depth`. A range of ties that uses the table anew does not reach beyond its own end there.
  void SortTies(Refs refs, std::uint32_t depth) {
    for (std::size_t i = 0; i < refs.size();) {
      std::size_t end = i + 1;
      while (end < refs.size() && table_[end].prefix == table_[i].prefix) ++end;
      SortRange(refs.subspan(i, end - i), depth);
      i = end;
    }
  }

  const std::uint8_t* keys_;
  std::uint32_t keyLength_;
  std::uint32_t method_;
  Table table_;
};

}  // namespace

bool PrefixSort(RunContext& run, std::span<std::uint32_t> refs) {
  Buffer& memory = run.sort.prefixMemory;
  if (!memory.Allocated() && !memory.Allocate(kPrefixTableSize * sizeof(PrefixRef))) return false;
  const std::span<PrefixRef> table{reinterpret_cast<PrefixRef*>(memory.Data()), kPrefixTableSize};
  if (refs.size() >= 2) AreaSorter(run, table).Sort(refs);
  return true;
}

}  // namespace tavindex
