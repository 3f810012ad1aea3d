// The tool from the outside: its words and its exit status.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {
namespace {

class IsiCheckTool : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "isi-check-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
    Write("data.txt", kData);
    request_.keys = {{1, 3}};
    Write("data.isi", Image());
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string Image() const {
    const auto isi = ExpectedIsi(BuildModel(std::as_bytes(std::span(kData)), request_), request_,
                                 {"data.txt", "data -1-3"});
    return {reinterpret_cast<const char*>(isi.data()), isi.size()};
  }

  void Write(const std::string& name, std::string_view bytes) const {
    std::ofstream(directory_ + "/" + name, std::ios::binary) << bytes;
  }

  // Runs the tool in the directory; its standard output and error together.
  void Run(const std::string& arguments) {
    const std::string command =
        "cd '" + directory_ + "' && '" ISI_CHECK_TOOL "' " + arguments + " 2>&1";
    std::FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    output_.clear();
    std::array<char, 4096> block{};
    while (const std::size_t n = std::fread(block.data(), 1, block.size(), pipe)) {
      output_.append(block.data(), n);
    }
    const int status = pclose(pipe);
    exit_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  static constexpr std::string_view kData{"caa\nabc\nbbb\n\0\0\0\0aaa\n", 20};
  BuildRequest request_;
  std::string directory_;
  std::string output_;
  int exit_ = -1;
};

TEST_F(IsiCheckTool, GoodFile) {
  Run("data.isi");
  EXPECT_EQ(output_,
            "data.isi: ok, 4 entries, 1 levels, 1 nodes, 1 list sectors, 1 deleted, 0 faults\n");
  EXPECT_EQ(exit_, 0);
}

TEST_F(IsiCheckTool, FaultsOneALine) {
  std::string image = Image();
  image[28] = 1;
  image[1024 + 501] = 1;
  Write("data.isi", image);
  Run("data.isi");
  EXPECT_EQ(output_,
            "header: byte 28 is not zero\n"
            "sector at 1024: byte 501 is not zero\n"
            "data.isi: FAULTY, 4 entries, 1 levels, 1 nodes, 1 list sectors, 1 deleted, "
            "2 faults\n");
  EXPECT_EQ(exit_, 1);
}

TEST_F(IsiCheckTool, Data) {
  Run("data.isi --data data.txt --columns 1-3");
  EXPECT_EQ(exit_, 0) << output_;
  Run("data.isi --data data.txt --columns 1,3");
  EXPECT_EQ(exit_, 1) << output_;
  Run("data.isi --data data.txt --columns 1-3 --eor crlf --record-length 3");
  EXPECT_EQ(exit_, 1) << output_;
  Run("data.isi --data data.txt --columns 1-3 --eor lf --record-length 3");
  EXPECT_EQ(exit_, 0) << output_;
}

TEST_F(IsiCheckTool, OptionsOfTheBuild) {
  request_.keys = {{3, 1}, {4, 4}};
  request_.upperCase = true;
  request_.conditions = {SimpleCondition{1, false, 'b'}};
  request_.duplicates = Duplicates::kIgnoreQuietly;
  request_.writeAll = true;
  request_.format = RecordFormat::kVariableText;
  Write("data.isi", Image());
  Run("data.isi --data data.txt --columns 3-1,4 --upper --where '1#b' --duplicates 'n$' "
      "--write-all --variable");
  EXPECT_EQ(exit_, 0) << output_;
}

TEST_F(IsiCheckTool, BinaryData) {
  request_.format = RecordFormat::kBinary;
  request_.declaredLength = 4;
  request_.expandTabs = false;
  Write("data.isi", Image());
  Run("data.isi --data data.txt --columns 1-3 --binary 4 --no-tabs");
  EXPECT_EQ(exit_, 0) << output_;
  Run("data.isi --data data.txt --columns 1-3 --binary-eor 3");
  EXPECT_EQ(exit_, 1) << output_;
}

TEST_F(IsiCheckTool, Fill) {
  request_.fillPercent = 10;
  Write("data.isi", Image());
  Run("--fill 10 data.isi");
  EXPECT_EQ(exit_, 0) << output_;
  Run("--fill 100 data.isi");
  EXPECT_EQ(exit_, 1) << output_;
  Run("data.isi");
  EXPECT_EQ(exit_, 0) << output_;
}

TEST_F(IsiCheckTool, WrongArguments) {
  for (const char* arguments :
       {"", "a.isi b.isi", "data.isi --data data.txt", "data.isi --columns 1-3", "--what data.isi",
        "data.isi --fill", "data.isi --fill x", "data.isi --fill 101",
        "data.isi --data data.txt --columns 1-", "data.isi --data data.txt --columns 0",
        "data.isi --data data.txt --columns 1 --where 1=", "--eor xx data.isi"}) {
    Run(arguments);
    EXPECT_EQ(exit_, 2) << arguments;
    EXPECT_EQ(output_.substr(0, 6), "usage:") << arguments;
  }
}

TEST_F(IsiCheckTool, UnreadableFiles) {
  Run("missing.isi");
  EXPECT_EQ(output_, "isi-check: cannot read missing.isi\n");
  EXPECT_EQ(exit_, 2);
  Run(".");
  EXPECT_EQ(exit_, 2) << output_;
  Run("data.isi --data missing.txt --columns 1");
  EXPECT_EQ(output_, "isi-check: cannot read missing.txt\n");
  EXPECT_EQ(exit_, 2);
}

}  // namespace
}  // namespace tavindex::test
