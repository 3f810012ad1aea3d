// Small data files and trees that several sweeps run over, with the index that must come out.

#ifndef TESTS_COMPACT_SAMPLE_RUNS_H_
#define TESTS_COMPACT_SAMPLE_RUNS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tree_maker.h"

namespace tavindex::test {

// Few places in the sort area and duplicates out of order: many trains, several merge passes.
inline MadeTree ManyTrains() {
  return MakeTree({.shape = Shape::kUneven, .keyLength = 1, .entries = 150, .deleted = 300});
}

// Different records of five digits, out of order.
inline std::string Records(std::size_t count) {
  std::string data;
  for (std::size_t i = 0; i < count; ++i) data += std::to_string(10000 + i * 7919 % 9973) + "\n";
  return data;
}

// The index of data.TXT by columns 1 to 5 that the line must give.
inline std::vector<std::byte> BuiltFrom(const std::string& data,
                                        const std::string& line = "data,old -1-5") {
  BuildRequest request;
  request.keys = {{1, 5}};
  const HeaderRequest header = {"data.TXT", line, 0, ByteOrder::kLittle};
  return ExpectedIsi(BuildModel(BytesOf(data), request), request, header);
}

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_SAMPLE_RUNS_H_
