// Feeds bytes to the program as the variables of its environment, its configuration file and a
// terminal definition file. The first piece, up to the byte 0xFF, holds one variable a line,
// NAME=value; with an "@" in front it stands in the configuration file. The rest is the definition
// file, which the variables must lead to.
//
// An independent reading of the variables and of the file says which extensions the program must
// take; it must find its data file by the one and make an index with the other.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/run_context.h"
#include "fuzz/scene.h"

namespace {

using namespace tavindex::test;

constexpr char kSeparator = '\xFF';
constexpr std::size_t kMaxSize = 8 * 1024;
constexpr std::size_t kMaxVariables = 40;
constexpr std::size_t kMaxValue = 200;

// The names of a setting, the first that has a value counts.
using Names = std::initializer_list<const char*>;
constexpr Names kSystemNames = {"KVR_SYSTEM", "TAVDB_DBC", "DBC"};
constexpr Names kTerminalNames = {"KVR_TERM", "TAVDB_TERM", "TERM"};
constexpr Names kCaseNames = {"KVR_FNC", "TAVDB_FNC"};

std::string UpperOf(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return upper;
}

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The settings of one input: both sources, each in the order of its lines.
class Settings {
 public:
  explicit Settings(std::string_view lines) {
    for (std::size_t i = 0; i < kMaxVariables && !lines.empty(); ++i) Add(TakePiece(lines, '\n'));
  }

  std::string IniFile() const {
    std::string text = "[environment]\n";
    for (const auto& [name, value] : ini_) text += name + "=" + value + "\n";
    return text;
  }
  std::string Environment() const {
    std::string text;
    for (const auto& [name, value] : environment_) text += name + "=" + value + "\n";
    return text;
  }

  // The value that the program must take; empty when there is none.
  std::string Value(Names names) const {
    for (const char* name : names) {
      std::string value = IniValue(name);
      if (value.empty()) value = EnvironmentValue(name);
      if (!value.empty()) return value;
    }
    return "";
  }

 private:
  using List = std::vector<std::pair<std::string, std::string>>;

  void Add(std::string_view line) {
    line = line.substr(0, line.find('\0'));
    const bool toIni = !line.empty() && line[0] == '@';
    if (toIni) line.remove_prefix(1);
    const std::string_view name = TakePiece(line, '=');
    const bool plain =
        std::ranges::all_of(name, [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
    if (name.empty() || !plain) return;
    (toIni ? ini_ : environment_).emplace_back(name, line.substr(0, kMaxValue));
  }

  // The first entry of that name, in any case. A CR in front of the line's LF belongs to its end.
  std::string IniValue(std::string_view wanted) const {
    for (const auto& [name, value] : ini_) {
      if (UpperOf(name) != wanted) continue;
      std::string_view text = value;
      if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
      return std::string(WithoutBlanks(text));
    }
    return "";
  }
  std::string EnvironmentValue(std::string_view wanted) const {
    std::string found;
    for (const auto& [name, value] : environment_) {
      if (name == wanted) found = value;
    }
    return found;
  }

  List ini_;
  List environment_;
};

// The definition file's name; empty when the program must read none.
std::string DefinitionName(const Settings& settings) {
  const std::string terminal = settings.Value(kTerminalNames);
  if (terminal.empty()) return "";
  const std::string system = settings.Value(kSystemNames);
  return (system.empty() ? "/usr/kvc" : system + "/") + terminal + ".def";
}

// Where the file can stand in the scratch directory, or nothing.
std::string PlaceInScratch(std::string name) {
  if (name.substr(0, 2) == "./") name.erase(0, 2);
  constexpr std::size_t kLongestName = 255;
  const bool usable = name.find('/') == std::string::npos && name.size() <= kLongestName;
  return usable ? name : "";
}

struct Expected {
  char separator = '.';
  std::string data = ".TXT";
  std::string index = ".ISI";
};

// L + 1 bytes must be there for an extension of L characters; it ends at a NUL all the same.
void TakeExtension(std::string_view file, std::size_t offset, std::size_t length,
                   std::string& extension) {
  if (offset + length + 1 > file.size()) return;
  const std::string_view bytes = file.substr(offset, length);
  extension = "." + std::string(bytes.substr(0, bytes.find('\0')));
}

Expected ReadDefinition(std::string_view file) {
  Expected expected;
  if (file.size() > 512 && file[512] != '\0') expected.separator = file[512];
  const std::size_t length = file.size() > 514 ? static_cast<unsigned char>(file[514]) : 0;
  if (length < 1 || length > 4) return expected;
  TakeExtension(file, 515, length, expected.data);
  TakeExtension(file, 520, length, expected.index);
  return expected;
}

void CheckSettings(const Expected& expected, bool lower) {
  const tavindex::NameState& names = tavindex::runContext->names;
  if (names.extSeparator != expected.separator) Fail("the extension separator is another");
  if (names.dataExtension.View() != expected.data) Fail("the data extension is another");
  if (names.indexExtension.View() != expected.index) Fail("the index extension is another");
  if (names.lowerCaseNames != lower) Fail("the case of names is another");
}

// A dot and letters or digits: such a name is made of nothing that has a meaning.
bool IsPlain(std::string_view extension) {
  return extension.size() > 1 && std::ranges::all_of(extension.substr(1), [](unsigned char c) {
           return std::isalnum(c) != 0;
         });
}

std::string LowerIf(bool lower, std::string name) {
  if (!lower) return name;
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size > kMaxSize) return 0;
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const Settings settings(TakePiece(text, kSeparator));
  const std::string place = PlaceInScratch(DefinitionName(settings));
  const std::string caseRule = settings.Value(kCaseNames);
  const bool lower = !caseRule.empty() && UpperOf(caseRule) != "MIXED";
  const Expected expected = place.empty() ? Expected{} : ReadDefinition(text);
  const std::string data = LowerIf(lower, "data" + expected.data);
  const std::string index = LowerIf(lower, "data" + expected.index);
  const bool plain = IsPlain(expected.data) && IsPlain(expected.index) && data != index &&
                     data != place && index != place && data != "set.ini" && index != "set.ini";

  StartScene();
  SetVariables(settings.Environment());
  WriteFile("set.ini", settings.IniFile());
  if (plain) WriteFile(data, "bb\naa\n");
  if (!place.empty()) WriteFile(place, text);
  const tavindex::Result result = RunArguments({"-iset.ini", "data,,,.", "-q1-2"});
  CheckSettings(expected, lower);
  if (!place.empty() && ReadFile(place) != text) Fail("the definition file was changed");
  if (!plain) return 0;
  if (result != tavindex::kOk) Fail("no index over " + data);
  if (ReadFile(index).size() != 2048) Fail("no index in " + index);
  return 0;
}
