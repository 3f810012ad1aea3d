#include "names/profile.h"

#include <fcntl.h>

#include <algorithm>
#include <array>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class ReadIniLineTest : public RunTest {
 protected:
  ~ReadIniLineTest() override {
    if (fd >= 0) ::close(fd);
  }
  void Open(std::string_view text) {
    fd = ::open(scratch.Write("t.ini", text).c_str(), O_RDONLY);
    StartIniFile(run);
  }
  void ExpectLine(std::uint32_t length, std::string_view text) {
    EXPECT_EQ(ReadIniLine(run, fd), length);
    EXPECT_EQ(run.names.iniBuffer.data() + run.names.iniLineStart, text);
  }
  void ExpectEnd() { EXPECT_EQ(ReadIniLine(run, fd), 0U); }

  int fd = -1;
};

TEST_F(ReadIniLineTest, CountsTheEndOfLineBytesButCutsThem) {
  Open("ab\ncde\r\n\n");
  ExpectLine(3, "ab");
  ExpectLine(5, "cde");
  ExpectLine(1, "");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, TakesALineOfItsEndAlone) {
  Open("\r\n\n\r\nab\r\n");
  ExpectLine(2, "");
  ExpectLine(1, "");
  ExpectLine(2, "");
  ExpectLine(4, "ab");
}

TEST_F(ReadIniLineTest, EndsAtOnceInAnEmptyFile) {
  Open("");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, DeliversALastLineWithoutALineFeed) {
  Open("ab\nlast");
  ExpectLine(3, "ab");
  ExpectLine(5, "last");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, KeepsACarriageReturnInsideALine) {
  Open("a\rb\n");
  ExpectLine(4, "a\rb");
}

TEST_F(ReadIniLineTest, HoldsALineOf900BytesWithItsLineFeed) {
  const std::string line(899, 'x');
  Open(line + "\nnext\n");
  ExpectLine(900, line);
  ExpectLine(5, "next");
}

TEST_F(ReadIniLineTest, DeliversALongerLineInPieces) {
  Open(std::string(900, 'x') + std::string(100, 'y') + "\nnext\n");
  ExpectLine(900, std::string(900, 'x'));
  ExpectLine(101, std::string(100, 'y'));
  ExpectLine(5, "next");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, DeliversTheLineFeedBehind900BytesAsALineOfItsOwn) {
  Open(std::string(900, 'x') + "\nnext\n");
  ExpectLine(900, std::string(900, 'x'));
  ExpectLine(1, "");
  ExpectLine(5, "next");
}

TEST_F(ReadIniLineTest, DeliversALongLastLineInPieces) {
  Open(std::string(900, 'x') + "yz");
  ExpectLine(900, std::string(900, 'x'));
  ExpectLine(3, "yz");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, MovesABegunLineToTheFront) {
  const std::string second(890, 's');
  Open("first\n" + second + "\nthird\n");
  ExpectLine(6, "first");
  ExpectLine(891, second);
  ExpectLine(6, "third");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, LooksAtAGuardByteBeforeTheFirstLineFeed) {
  run.names.iniBuffer[0] = '\r';  // as an earlier file might have left it
  Open("\nab\n");
  ExpectLine(1, "");
  ExpectLine(3, "ab");
}

TEST_F(ReadIniLineTest, KeepsTheCarriageReturnThatEndsAPieceOf900) {
  Open(std::string(899, 'x') + "\r\nnext\n");
  ExpectLine(900, std::string(899, 'x') + "\r");
  ExpectLine(1, "");
  ExpectLine(5, "next");
}

TEST_F(ReadIniLineTest, ReadsAlikeInShortReads) {
  Open("ab\r\n" + std::string(950, 'x') + "\nlast");
  calls.Replace<&SystemCalls::read>([&](int from, void* to, std::size_t count) {
    return calls.Original().read(from, to, std::min<std::size_t>(count, 7));
  });
  ExpectLine(4, "ab");
  ExpectLine(900, std::string(900, 'x'));
  ExpectLine(51, std::string(50, 'x'));
  ExpectLine(5, "last");
  ExpectEnd();
}

TEST_F(ReadIniLineTest, TakesAReadErrorForTheEnd) {
  Open("ab\n");
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  ExpectEnd();
}

TEST_F(ReadIniLineTest, DeliversABegunLineBeforeAReadError) {
  Open("ab\ncd");
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  ExpectLine(3, "ab");
  ExpectLine(3, "cd");
  ExpectEnd();
}

class GetProfileStringTest : public RunTest {
 protected:
  void UseFile(std::string_view text) { scratch.Write("t.ini", text); }
  std::uint32_t Look(const char* section, const char* key, const char* defaultText = "default") {
    return LookInto(out, section, key, defaultText);
  }
  std::uint32_t LookInto(std::span<char> into, const char* section, const char* key,
                         const char* defaultText = nullptr) {
    const ProfileQuery query{.section = section, .key = key, .defaultText = defaultText};
    return GetProfileString(run, query, into, scratch.Path("t.ini").c_str());
  }
  void ExpectValue(const char* key, std::string_view value) {
    EXPECT_EQ(Look("environment", key), value.size()) << key;
    EXPECT_EQ(std::string_view(out.data()), value) << key;
  }
  std::string Bytes(std::size_t count) const { return {out.data(), count}; }

  std::array<char, 64> out{};
};

// A device may have no end, a pipe nobody who writes to it.
TEST_F(GetProfileStringTest, ReadsNothingButAFile) {
  ASSERT_EQ(::symlink("/dev/zero", scratch.Path("t.ini").c_str()), 0);
  ExpectValue("A", "default");
  ASSERT_EQ(::unlink(scratch.Path("t.ini").c_str()), 0);
  ASSERT_EQ(::mkfifo(scratch.Path("t.ini").c_str(), 0600), 0);
  ExpectValue("A", "default");
}

TEST_F(GetProfileStringTest, FindsAValueByNamesInAnyCase) {
  UseFile("[ Environment ]\nKVR_PATH = /a:/b\n");
  ExpectValue("KVR_PATH", "/a:/b");
  ExpectValue("kvr_path", "/a:/b");
}

TEST_F(GetProfileStringTest, TrimsBlanksAndTabsOfTheSectionsName) {
  UseFile("[\t environment \t] trailing text\nA=1\n");
  ExpectValue("A", "1");
}

TEST_F(GetProfileStringTest, ComparesWholeNames) {
  UseFile("[environment2]\nA=wrong\n[environ]\nA=wrong\n[environment]\nAB=2\nA=1\n");
  ExpectValue("A", "1");
}

TEST_F(GetProfileStringTest, TrimsTheValueOnBothSidesAndTheKeyBehind) {
  UseFile("[environment]\nA \t=\t  x y = z \t\n");
  ExpectValue("A", "x y = z");
}

TEST_F(GetProfileStringTest, KeepsBlanksInFrontOfAKey) {
  UseFile("[environment]\n  KVR_PATH=/a\n");
  ExpectValue("KVR_PATH", "default");
  ExpectValue("  KVR_PATH", "/a");
}

TEST_F(GetProfileStringTest, TakesTheFirstMatchingEntry) {
  UseFile("[environment]\nA=first\nA=second\n");
  ExpectValue("A", "first");
}

TEST_F(GetProfileStringTest, StoresAnEmptyValue) {
  UseFile("[environment]\nA= \t\nA=second\n");
  ExpectValue("A", "");
}

TEST_F(GetProfileStringTest, NeverReadsASecondSectionOfTheName) {
  UseFile("[environment]\nA=1\n[other]\n[environment]\nB=2\n");
  ExpectValue("B", "default");
}

TEST_F(GetProfileStringTest, EndsTheSectionAtALineThatBeginsWithABracket) {
  UseFile("[environment]\n[no end\nA=1\n");
  ExpectValue("A", "default");
}

TEST_F(GetProfileStringTest, SkipsALineWithoutAClosingBracketBeforeTheSection) {
  UseFile("[environment\nA=wrong\n[environment]\nA=1\n");
  ExpectValue("A", "1");
}

TEST_F(GetProfileStringTest, KnowsNoIndentedHeader) {
  UseFile(" [environment]\nA=wrong\n");
  ExpectValue("A", "default");
}

TEST_F(GetProfileStringTest, SkipsEveryOtherLine) {
  UseFile("A=before\n\n[environment]\n; a comment\n# another\n\nA\nA=1\n");
  ExpectValue("A", "1");
}

TEST_F(GetProfileStringTest, FindsTheEntryBehindALineOf1000Characters) {
  UseFile("[environment]\n" + std::string(1000, 'x') + "\nA=1\n");
  ExpectValue("A", "1");
}

TEST_F(GetProfileStringTest, ReadsTheTailOfALongEntryAsALineOfItsOwn) {
  // The entry's first 900 bytes are one line; "B=tail" is the next.
  UseFile("[environment]\nA=" + std::string(898, 'x') + "B=tail\n");
  ExpectValue("B", "tail");
  EXPECT_EQ(Look("environment", "A"), 63U);
}

TEST_F(GetProfileStringTest, FindsALastLineWithoutALineFeed) {
  UseFile("[environment]\nDBC=/opt");
  ExpectValue("DBC", "/opt");
}

TEST_F(GetProfileStringTest, GivesValuesWithoutTheCarriageReturn) {
  UseFile("[environment]\r\nDBC=/opt\r\nB=2\r\n");
  ExpectValue("DBC", "/opt");
  ExpectValue("B", "2");
}

TEST_F(GetProfileStringTest, CutsAValueToTheRoom) {
  UseFile("[environment]\nA=123456789\n");
  std::array<char, 5> room{};
  EXPECT_EQ(LookInto(room, "environment", "A"), 4U);
  EXPECT_STREQ(room.data(), "1234");
}

TEST_F(GetProfileStringTest, GivesTheDefaultWithoutAFile) {
  EXPECT_EQ(Look("environment", "A"), 7U);
  EXPECT_STREQ(out.data(), "default");
}

TEST_F(GetProfileStringTest, GivesAnEmptyTextWithoutADefault) {
  out.fill('x');
  EXPECT_EQ(Look("environment", "A", nullptr), 0U);
  EXPECT_STREQ(out.data(), "");
}

TEST_F(GetProfileStringTest, CutsTheDefaultToTheRoom) {
  UseFile("[other]\n");
  std::array<char, 5> room{};
  EXPECT_EQ(LookInto(room, "environment", "A", "default"), 4U);
  EXPECT_STREQ(room.data(), "defa");
}

TEST_F(GetProfileStringTest, OpensForReadingWithoutBlocking) {
  ASSERT_EQ(::mkfifo(scratch.Path("t.ini").c_str(), 0600), 0);
  EXPECT_EQ(Look("environment", "A"), 7U);
}

TEST_F(GetProfileStringTest, ClosesTheFile) {
  UseFile("[environment]\nA=1\n");
  calls.Watch<&SystemCalls::close>();
  Look("environment", "A");
  EXPECT_EQ(calls.Count<&SystemCalls::close>(), 1);
  EXPECT_EQ(run.files.lastOpenPath.View(), scratch.Path("t.ini"));
}

TEST_F(GetProfileStringTest, ListsTheKeysOfASection) {
  UseFile("[a]\nX=1\n[b]\nOne = 1\nno entry\n Two=\n[a]\nY=2\n");
  EXPECT_EQ(Look("b", nullptr), 9U);
  EXPECT_EQ(Bytes(11), std::string("One\0 Two\0\0\0", 11));
}

TEST_F(GetProfileStringTest, GivesTheDefaultForTheKeysOfAMissingSection) {
  UseFile("[a]\nX=1\n");
  EXPECT_EQ(Look("b", nullptr), 7U);
  EXPECT_STREQ(out.data(), "default");
}

TEST_F(GetProfileStringTest, ListsTheSections) {
  UseFile("X=1\n[ a ]\n[bc]\nY=1\n[no end\n[a]\n");
  EXPECT_EQ(Look(nullptr, nullptr), 7U);
  EXPECT_EQ(Bytes(9), std::string("a\0bc\0a\0\0\0", 9));
}

TEST_F(GetProfileStringTest, ListOfNoSectionIsEmpty) {
  UseFile("X=1\n");
  EXPECT_EQ(Look(nullptr, nullptr), 0U);
  EXPECT_EQ(Bytes(2), std::string("\0\0", 2));
}

TEST_F(GetProfileStringTest, ListKeepsRoomForItsTwoNuls) {
  // 8 bytes: characters while more than 3 remain (a to e), a NUL while at least 3 do, two NULs.
  UseFile("[abcdef]\n[gh]\n");
  std::array<char, 8> room{};
  room.fill('x');
  EXPECT_EQ(LookInto(room, nullptr, nullptr), 6U);
  EXPECT_EQ(std::string(room.data(), 8), std::string("abcde\0\0\0", 8));
}

}  // namespace
}  // namespace tavindex::test
