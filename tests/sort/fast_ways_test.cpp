// The fast ways of a build can be switched off one by one: the index must not show it, nor the sort
// budget, nor the sort method.

#include <bitset>
#include <random>
#include <vector>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

enum class Data { kRandom, kRepeated, kHeads, kTabs, kVariable };

std::string RandomText(std::mt19937& random, std::size_t length, std::string_view letters) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += letters[random() % letters.size()];
  return text;
}

std::string MakeRecord(Data data, std::mt19937& random) {
  const std::string_view letters = "abcdefghijklmnopqrstuvwxyz0123456789";
  switch (data) {
    case Data::kRandom:
      return RandomText(random, 60, letters);
    case Data::kRepeated:
      return RandomText(random, 2, "ab") + std::string(58, '.');
    case Data::kHeads:
      return RandomText(random, 1, "ab") + std::string(19, 'h') + RandomText(random, 40, letters);
    case Data::kTabs:
      return RandomText(random, 60, "abcdef\t");
    case Data::kVariable:
      return RandomText(random, 1 + random() % 60, letters);
  }
  return "";
}

std::string MakeData(Data data) {
  std::mt19937 random(77 + static_cast<unsigned>(data));
  std::string text;
  for (int i = 0; i < 3000; ++i) text += MakeRecord(data, random) + "\n";
  return text;
}

constexpr unsigned kSwitches = 3;

struct Build {
  const char* budget;  // "" or the pre-option
  const char* method;
  std::bitset<kSwitches> switches;
};

std::vector<Build> EveryBuild() {
  std::vector<Build> builds;
  for (const char* budget : {"", "-m2500", "-m30000"}) {
    for (const char* method : {"-0", "-1"}) {
      for (unsigned set = 0; set < 1U << kSwitches; ++set) builds.push_back({budget, method, set});
    }
  }
  return builds;
}

class FastWaysTest : public RunTest, public ::testing::WithParamInterface<Data> {
 protected:
  FastWaysTest() : here(scratch.MakeDirectory("here")) {
    environment.Set("TMPDIR", scratch.MakeDirectory("work"));
    scratch.Write("here/data.TXT", MakeData(GetParam()));
  }
  // The driver clears the work area, so the switches are set at the first allocation behind that.
  void SetSwitches(std::bitset<kSwitches> switches) {
    calls.Replace<&SystemCalls::allocate>([this, switches](std::size_t size) {
      run.scan.fastWalk = switches[0];
      run.sort.prefixSort = switches[1];
      run.sort.loserTree = switches[2];
      return calls.Original().allocate(size);
    });
  }
  std::string IndexOf(const Build& build) {
    SetSwitches(build.switches);
    std::vector<std::string> arguments{"tavindex", "data,index", "-sv,1-24,30-31"};
    arguments.insert(arguments.begin() + 1, build.method);
    if (*build.budget != '\0') arguments.insert(arguments.begin() + 1, build.budget);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    EXPECT_EQ(RunDriver(static_cast<int>(arguments.size()), argv.data(), nullptr, 0,
                        console.Stream(), false),
              kOk)
        << console.Take();
    return scratch.Read("here/index.ISI");
  }

  CurrentDirectory here;
};

TEST_P(FastWaysTest, EveryWayGivesTheSameIndex) {
  const std::string plain = IndexOf({"", "-0", 0});
  ASSERT_GT(plain.size(), 3000U * 20);
  for (const Build& build : EveryBuild()) {
    ASSERT_TRUE(IndexOf(build) == plain)
        << build.budget << " " << build.method << " switches " << build.switches;
  }
}

std::string NameOf(const ::testing::TestParamInfo<Data>& info) {
  static constexpr const char* kNames[] = {"Random", "Repeated", "Heads", "Tabs", "Variable"};
  return kNames[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Data, FastWaysTest,
                         ::testing::Values(Data::kRandom, Data::kRepeated, Data::kHeads,
                                           Data::kTabs, Data::kVariable),
                         NameOf);

}  // namespace
}  // namespace tavindex::test
