// isi-check: proves an ISI file from the shell.
//
//   isi-check [--fill NN] [--compacted] FILE
//   isi-check FILE --data DATA --columns 1-10[,20...] [record format and options as below]
//
// One fault a line, then a summary. Exit status 0: no fault; 1: faults; 2: wrong arguments or a
// file that cannot be read.

#include <charconv>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {
namespace {

constexpr const char* kUsage =
    "usage: isi-check [--fill NN] FILE\n"
    "       isi-check FILE --data DATA --columns 1-10[,20...]\n"
    "           [--eor lf|cr|crlf|lfcr] [--record-length N] [--variable | --compressed]\n"
    "           [--binary N | --binary-eor N] [--upper] [--no-tabs] [--write-all]\n"
    "           [--where 11=A | --where 11#A]... [--duplicates d|n|n0|n$]\n"
    "           [--fill NN] [--compacted]\n"
    "--fill also proves the dense shape that a build with that fill percentage gives.\n";

struct Arguments {
  std::string isiName;
  std::string dataName;
  BuildRequest request;
  CompareOptions options;
};

std::optional<unsigned> Number(std::string_view text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

bool ReadNumber(std::string_view text, unsigned lowest, unsigned highest, unsigned& value) {
  const std::optional<unsigned> number = Number(text);
  if (!number || *number < lowest || *number > highest) return false;
  value = *number;
  return true;
}

constexpr unsigned kLastColumn = 65534;

bool ReadRange(std::string_view text, BuildRequest& request) {
  const std::size_t dash = text.find('-');
  KeyRange range;
  if (!ReadNumber(text.substr(0, dash), 1, kLastColumn, range.from)) return false;
  const std::string_view to = dash == text.npos ? text : text.substr(dash + 1);
  if (!ReadNumber(to, 1, kLastColumn, range.to)) return false;
  request.keys.push_back(range);
  return true;
}

bool ReadColumns(std::string_view text, BuildRequest& request) {
  for (;;) {
    const std::size_t comma = text.find(',');
    if (!ReadRange(text.substr(0, comma), request)) return false;
    if (comma == text.npos) return true;
    text.remove_prefix(comma + 1);
  }
}

bool ReadCondition(std::string_view text, BuildRequest& request) {
  const std::size_t sign = text.find_first_of("=#");
  if (sign == text.npos || sign + 2 != text.size()) return false;
  SimpleCondition condition;
  condition.equal = text[sign] == '=';
  condition.value = text[sign + 1];
  request.conditions.push_back(condition);
  return ReadNumber(text.substr(0, sign), 1, kLastColumn,
                    std::get<SimpleCondition>(request.conditions.back()).column);
}

template <typename Value>
bool Choose(std::string_view text, const std::map<std::string_view, Value>& values, Value& chosen) {
  const auto found = values.find(text);
  if (found == values.end()) return false;
  chosen = found->second;
  return true;
}

bool ReadEor(std::string_view text, BuildRequest& request) {
  EorKind kind{};
  if (!Choose<EorKind>(text,
                       {{"cr", EorKind::kCr},
                        {"crlf", EorKind::kCrLf},
                        {"lf", EorKind::kLf},
                        {"lfcr", EorKind::kLfCr}},
                       kind)) {
    return false;
  }
  request.eor = kind;
  return true;
}

bool ReadDuplicates(std::string_view text, BuildRequest& request) {
  return Choose<Duplicates>(text,
                            {{"d", Duplicates::kStore},
                             {"n", Duplicates::kRefuse},
                             {"n0", Duplicates::kIgnore},
                             {"n$", Duplicates::kIgnoreQuietly}},
                            request.duplicates);
}

bool ReadFill(std::string_view text, Arguments& arguments) {
  arguments.options.structure.builderShape = true;
  arguments.options.structure.fillPercent = 0;
  return ReadNumber(text, 0, 100, arguments.options.structure.fillPercent) &&
         ReadNumber(text, 0, 100, arguments.request.fillPercent);
}

// Options that stand alone.
bool ReadSwitch(std::string_view name, Arguments& arguments) {
  static const std::map<std::string_view, std::function<void(Arguments&)>> kSwitches = {
      {"--variable", [](Arguments& a) { a.request.format = RecordFormat::kVariableText; }},
      {"--compressed", [](Arguments& a) { a.request.format = RecordFormat::kCompressedText; }},
      {"--upper", [](Arguments& a) { a.request.upperCase = true; }},
      {"--no-tabs", [](Arguments& a) { a.request.expandTabs = false; }},
      {"--write-all", [](Arguments& a) { a.request.writeAll = true; }},
      {"--compacted", [](Arguments& a) { a.options.compacted = true; }},
  };
  const auto found = kSwitches.find(name);
  if (found == kSwitches.end()) return false;
  found->second(arguments);
  return true;
}

bool ReadLength(std::string_view text, RecordFormat format, BuildRequest& request) {
  request.format = format;
  return ReadNumber(text, 1, kLastColumn, request.declaredLength);
}

// Options with a value behind them.
bool ReadOption(std::string_view name, std::string_view value, Arguments& arguments) {
  BuildRequest& request = arguments.request;
  if (name == "--data") return !(arguments.dataName = value).empty();
  if (name == "--columns") return ReadColumns(value, request);
  if (name == "--eor") return ReadEor(value, request);
  if (name == "--record-length") return ReadLength(value, request.format, request);
  if (name == "--binary") return ReadLength(value, RecordFormat::kBinary, request);
  if (name == "--binary-eor") return ReadLength(value, RecordFormat::kBinaryWithEor, request);
  if (name == "--where") return ReadCondition(value, request);
  if (name == "--duplicates") return ReadDuplicates(value, request);
  if (name == "--fill") return ReadFill(value, arguments);
  return false;
}

bool ReadArguments(const std::vector<std::string_view>& texts, Arguments& arguments) {
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string_view text = texts[i];
    if (!text.starts_with("--")) {
      if (!arguments.isiName.empty()) return false;
      arguments.isiName = text;
    } else if (!ReadSwitch(text, arguments)) {
      if (++i == texts.size() || !ReadOption(text, texts[i], arguments)) return false;
    }
  }
  return !arguments.isiName.empty() && arguments.dataName.empty() == arguments.request.keys.empty();
}

std::optional<std::vector<std::byte>> ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) return std::nullopt;
  std::vector<std::byte> bytes;
  std::vector<char> block(std::size_t{1} << 20);
  do {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    const auto* first = reinterpret_cast<const std::byte*>(block.data());
    bytes.insert(bytes.end(), first, first + file.gcount());
  } while (file);
  if (file.bad()) return std::nullopt;
  return bytes;
}

void PrintReport(const std::string& name, const Report& report) {
  std::fputs(report.Text().c_str(), stdout);
  std::printf(
      "%s: %s, %llu entries, %u levels, %llu nodes, %llu list sectors, %llu deleted, "
      "%llu faults\n",
      name.c_str(), report.Ok() ? "ok" : "FAULTY", static_cast<unsigned long long>(report.entries),
      report.levels, static_cast<unsigned long long>(report.nodes),
      static_cast<unsigned long long>(report.listSectors),
      static_cast<unsigned long long>(report.deletedRecords),
      static_cast<unsigned long long>(report.faultCount));
}

int Unreadable(const std::string& name) {
  std::fprintf(stderr, "isi-check: cannot read %s\n", name.c_str());
  return 2;
}

int Check(const Arguments& arguments) {
  const auto isi = ReadFile(arguments.isiName);
  if (!isi) return Unreadable(arguments.isiName);
  Report report;
  if (arguments.dataName.empty()) {
    report = CheckStructure(*isi, arguments.options.structure);
  } else {
    const auto data = ReadFile(arguments.dataName);
    if (!data) return Unreadable(arguments.dataName);
    report = CompareWithData(*isi, *data, arguments.request, arguments.options);
  }
  PrintReport(arguments.isiName, report);
  return report.Ok() ? 0 : 1;
}

}  // namespace
}  // namespace tavindex::test

int main(int argc, char** argv) {
  tavindex::test::Arguments arguments;
  const std::vector<std::string_view> texts(argv + 1, argv + argc);
  if (!tavindex::test::ReadArguments(texts, arguments)) {
    std::fputs(tavindex::test::kUsage, stderr);
    return 2;
  }
  return tavindex::test::Check(arguments);
}
