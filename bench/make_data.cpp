// make_data: the data files of the benchmarks, the same bytes for the same arguments.
//
//   make_data KIND RECORDS FILE
//
// A record is 100 bytes and its end-of-record mark, unless its kind says otherwise; its key stands
// at its front and everything behind it is random. The letters are A to Z and 0 to 9. Record i is
// made from the number i alone, so that a kind needs no memory and every one can name the key of
// an earlier record.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kRecordLength = 100;
constexpr std::size_t kKeyLength = 10;
constexpr std::size_t kHeadLength = 50;
constexpr std::uint64_t kHeads = 64;
constexpr std::string_view kLetters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// How many keys of kKeyLength letters there are: 36 to the 10th.
constexpr std::uint64_t kKeys = 3656158440062976;

// A random number for each `index`: the finalizer of a splitmix64 generator.
std::uint64_t Scramble(std::uint64_t index) {
  std::uint64_t value = (index + 1) * 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

// The random numbers of one record.
class Random {
 public:
  explicit Random(std::uint64_t record) : at_(record << 16) {}

  std::uint64_t Next() { return Scramble(at_++); }

 private:
  std::uint64_t at_;
};

// The text of a key: keys compare as their numbers do.
void AddKey(std::string& record, std::uint64_t number) {
  std::array<char, kKeyLength> text;
  for (std::size_t i = kKeyLength; i-- > 0; number /= kLetters.size()) {
    text[i] = kLetters[number % kLetters.size()];
  }
  record.append(text.data(), text.size());
}

void FillWithLetters(std::string& record, std::size_t length, Random& random) {
  std::uint64_t bits = 0;
  for (unsigned left = 0; record.size() < length; --left, bits >>= 8) {
    if (left == 0) {
      bits = random.Next();
      left = 8;
    }
    record.push_back(kLetters[(bits & 0xFF) * kLetters.size() / 256]);
  }
}

// Apart from the numbers that fill the records.
constexpr std::uint64_t kKeyNumbers = std::uint64_t{1} << 63;

std::uint64_t RandomKey(std::uint64_t i) { return Scramble(kKeyNumbers + i) % kKeys; }

// Keys in rising order, spread over all there are.
std::uint64_t RisingKey(std::uint64_t place, std::uint64_t records) {
  const std::uint64_t step = kKeys / records;
  return place * step + Scramble(place) % step;
}

// The first half of the records takes the even places in rising order, the other goes back.
std::uint64_t RiseAndFall(std::uint64_t i, std::uint64_t records) {
  return 2 * i < records ? 2 * i : 2 * (records - 1 - i) + 1;
}

// Every fifth record repeats the key of one of the four kinds of fifths before it: 20 %.
std::uint64_t RepeatingKey(std::uint64_t i) {
  if (i % 5 != 4) return RandomKey(i);
  const std::uint64_t other = Scramble(i);
  return RandomKey(other % (i / 5 + 1) * 5 + (other >> 32) % 4);
}

void AddHeaded(std::string& record, std::uint64_t i, std::uint64_t heads, std::size_t length) {
  Random head(kKeyNumbers / 2 + Scramble(i) % heads);
  FillWithLetters(record, length, head);
  AddKey(record, RandomKey(i));
}

void AddBytes(std::string& record, Random& random) {
  while (record.size() < kRecordLength) {
    const std::uint64_t bytes = random.Next();
    const std::size_t count = std::min(sizeof bytes, kRecordLength - record.size());
    record.append(reinterpret_cast<const char*>(&bytes), count);
  }
}

// Words of 4 to 11 letters, each with a TAB behind it, up to the record length.
void AddTabbedWords(std::string& record, Random& random) {
  while (record.size() < kRecordLength) {
    record.push_back('\t');
    const std::size_t end = record.size() + 4 + random.Next() % 8;
    FillWithLetters(record, std::min(end, kRecordLength), random);
  }
}

struct Place {
  std::uint64_t i;  // the record's number, from 0
  std::uint64_t records;
};

using Maker = void (*)(std::string& record, Place place, Random& random);

void MakeKeyed(std::string& record, std::uint64_t key, Random& random, const char* mark = "\n") {
  AddKey(record, key);
  FillWithLetters(record, kRecordLength, random);
  record += mark;
}

void MakeHeaded(std::string& record, Place place, std::uint64_t heads, std::size_t length,
                Random& random) {
  AddHeaded(record, place.i, heads, length);
  FillWithLetters(record, kRecordLength, random);
  record += '\n';
}

void MakeVariable(std::string& record, Place place, Random& random) {
  AddKey(record, RandomKey(place.i));
  FillWithLetters(record, kRecordLength / 2 + random.Next() % (kRecordLength + 1), random);
  record += '\n';
}

void MakeTabs(std::string& record, Place place, Random& random) {
  AddKey(record, RandomKey(place.i));
  AddTabbedWords(record, random);
  record += '\n';
}

// The key stands in columns 9 to 18, behind a word of 4 letters and a TAB.
void MakeTabsBefore(std::string& record, Place place, Random& random) {
  FillWithLetters(record, 4, random);
  record += '\t';
  AddKey(record, RandomKey(place.i));
  AddTabbedWords(record, random);
  record += '\n';
}

// The keys of kind "random" with the places of their records, as a database imports them.
void MakePair(std::string& record, Place place, Random& /*random*/) {
  AddKey(record, RandomKey(place.i));
  record += '|';
  record += std::to_string(place.i * (kRecordLength + 1));
  record += '\n';
}

struct Kind {
  std::string_view name;
  const char* what;
  Maker make;
};

constexpr Kind kKinds[] = {
    {"random", "random 10-byte keys; all 100 bytes can serve as a key",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RandomKey(at.i), random);
     }},
    {"sorted", "10-byte keys in order",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RisingKey(at.i, at.records), random);
     }},
    {"backwards", "10-byte keys in reverse order",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RisingKey(at.records - 1 - at.i, at.records), random);
     }},
    {"rise-fall", "10-byte keys that rise, then fall",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RisingKey(RiseAndFall(at.i, at.records), at.records), random);
     }},
    {"equal", "one 10-byte key in all records",
     [](std::string& record, Place /*at*/, Random& random) {
       MakeKeyed(record, RandomKey(0), random);
     }},
    {"duplicates", "random 10-byte keys, 20 % of the records repeat one",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RepeatingKey(at.i), random);
     }},
    {"heads", "60-byte keys: 50 bytes out of 64 heads, 10 random ones",
     [](std::string& record, Place at, Random& random) {
       MakeHeaded(record, at, kHeads, kHeadLength, random);
     }},
    {"constant-head", "20-byte keys: 10 bytes that are the same in all, 10 random ones",
     [](std::string& record, Place at, Random& random) {
       MakeHeaded(record, at, 1, kKeyLength, random);
     }},
    {"binary", "records of 100 random bytes without a mark",
     [](std::string& record, Place /*at*/, Random& random) { AddBytes(record, random); }},
    {"variable", "random 10-byte keys in records of 50 to 150 bytes", MakeVariable},
    {"crlf", "as random, the mark is CR LF",
     [](std::string& record, Place at, Random& random) {
       MakeKeyed(record, RandomKey(at.i), random, "\r\n");
     }},
    {"tabs", "random 10-byte keys, the rest of the record has about ten TABs", MakeTabs},
    {"tabs-before", "as tabs, and a TAB before the key, which is in columns 9 to 18",
     MakeTabsBefore},
    {"pairs", "no data file: lines of key|position, of the records of kind random", MakePair},
};

bool Write(const Kind& kind, std::uint64_t records, std::FILE* file) {
  std::string record;
  for (std::uint64_t i = 0; i < records; ++i) {
    Random random(i);
    record.clear();
    kind.make(record, {i, records}, random);
    if (std::fwrite(record.data(), 1, record.size(), file) != record.size()) return false;
  }
  return true;
}

const Kind* FindKind(std::string_view name) {
  for (const Kind& kind : kKinds) {
    if (kind.name == name) return &kind;
  }
  return nullptr;
}

int ShowUsage() {
  std::fputs("usage: make_data KIND RECORDS FILE\n", stderr);
  for (const Kind& kind : kKinds) {
    std::fprintf(stderr, "  %-14s %s\n", kind.name.data(), kind.what);
  }
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const Kind* kind = argc == 4 ? FindKind(argv[1]) : nullptr;
  const std::uint64_t records = kind == nullptr ? 0 : std::strtoull(argv[2], nullptr, 10);
  if (records == 0) return ShowUsage();
  std::FILE* file = std::fopen(argv[3], "wb");
  const bool written = file != nullptr && Write(*kind, records, file);
  if (file == nullptr || std::fclose(file) != 0 || !written) {
    std::perror(argv[3]);
    return 1;
  }
  return 0;
}
