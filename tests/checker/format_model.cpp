// Finding the marks of a data file from its end, and the length of its last record.

#include <algorithm>

#include "isi_checker.h"

namespace tavindex::test {
namespace {

constexpr std::uint8_t kCr = '\r';
constexpr std::uint8_t kLf = '\n';

// With a known or a varying record length only this much of the file's end is looked at.
constexpr std::size_t kTailSize = 65535;

EorFormat FormatOf(EorKind kind) {
  switch (kind) {
    case EorKind::kCr:
      return {0, 1, kCr, 0, 0x00};
    case EorKind::kCrLf:
      return {1, 2, kCr, kLf, 0x40};
    case EorKind::kLf:
      return {2, 1, kLf, 0, 0x80};
    case EorKind::kLfCr:
      return {3, 2, kLf, kCr, 0xC0};
  }
  return {};
}

class Detection {
 public:
  Detection(Bytes data, const BuildRequest& request) : data_(data), request_(request) {}

  DetectedFormat Run() {
    if (request_.format == RecordFormat::kBinary) return {{5, 0, kLf, 0, 0x00}, 0};
    const bool wholeFile =
        request_.format == RecordFormat::kFixedText && request_.declaredLength == 0;
    const std::size_t lowest = wholeFile || data_.size() < kTailSize ? 0 : data_.size() - kTailSize;
    return request_.eor ? Forced(wholeFile) : Search(lowest, wholeFile);
  }

 private:
  std::uint8_t At(std::size_t index) const { return std::to_integer<std::uint8_t>(data_[index]); }

  // From the last byte backwards. A lone CR is taken for the time being: a LF further back decides.
  DetectedFormat Search(std::size_t lowest, bool wholeFile) const {
    bool loneCr = false;
    for (std::size_t i = data_.size(); i > lowest; --i) {
      const std::uint8_t byte = At(i - 1);
      const std::uint8_t before = i > 1 ? At(i - 2) : 0;
      if (byte == kLf) {
        return before == kCr ? Found(EorKind::kCrLf, i - 2, wholeFile)
                             : Found(EorKind::kLf, i - 1, wholeFile);
      }
      if (byte == kCr && before == kLf) return Found(EorKind::kLfCr, i - 2, wholeFile);
      if (byte == kCr) loneCr = true;
    }
    return NothingFound(loneCr, wholeFile || data_.empty());
  }

  // A search of the tail alone answers "CR", also when it met no mark; the bytes stay those of LF.
  DetectedFormat NothingFound(bool loneCr, bool osDefault) const {
    EorFormat eor = FormatOf(loneCr ? EorKind::kCr : EorKind::kLf);
    eor.kind = osDefault ? 4 : 0;
    if (!osDefault) eor.fileFlags = 0;
    return {eor, 0};
  }

  DetectedFormat Found(EorKind kind, std::size_t recordEnd, bool count) const {
    const EorFormat eor = FormatOf(kind);
    return {eor, count ? LengthBefore(recordEnd, eor) + eor.length : 0};
  }

  // Back to the previous mark's last byte, a NUL or the file's start.
  unsigned LengthBefore(std::size_t recordEnd, const EorFormat& eor) const {
    const std::uint8_t stop = eor.length == 2 ? eor.second : eor.first;
    std::size_t start = recordEnd;
    while (start > 0 && At(start - 1) != stop && At(start - 1) != 0) --start;
    return static_cast<unsigned>(std::min<std::size_t>(recordEnd - start, 0x7FFFFFFF));
  }

  DetectedFormat Forced(bool count) const {
    const EorFormat eor = FormatOf(*request_.eor);
    for (std::size_t i = data_.size(); count && i >= eor.length; --i) {
      const std::size_t mark = i - eor.length;
      const bool second = eor.length == 1 || At(mark + 1) == eor.second;
      if (At(mark) == eor.first && second) return {eor, LengthBefore(mark, eor) + eor.length};
    }
    return {eor, 0};
  }

  Bytes data_;
  const BuildRequest& request_;
};

}  // namespace

DetectedFormat DetectFormat(std::span<const std::byte> data, const BuildRequest& request) {
  return Detection(data, request).Run();
}

}  // namespace tavindex::test
