#include "setup/detect_eor.h"

#include <fcntl.h>

#include <vector>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

constexpr std::size_t kBlock = 65535;

class DetectEORTest : public RunTest {
 protected:
  EorKind Detect(std::string_view bytes) {
    if (run.files.inputFd >= 0) ::close(run.files.inputFd);
    run.files.inputFd = ::open(scratch.Write("data", bytes).c_str(), O_RDONLY);
    run.data = DataState{};
    return DetectEOR(run, run.files.inputFd);
  }
  void ExpectMark(int length, int first, int second) {
    EXPECT_EQ(run.data.eorLength, length);
    EXPECT_EQ(run.data.eorChar1, first);
    EXPECT_EQ(run.data.eorChar2, second);
  }
  void ExpectCrLf() { ExpectMark(2, '\r', '\n'); }
  void ExpectLf() { ExpectMark(1, '\n', 0); }
  void ExpectLfCr() { ExpectMark(2, '\n', '\r'); }
  void ExpectCr() { ExpectMark(1, '\r', 0); }
};

TEST_F(DetectEORTest, FindsLineFeed) {
  EXPECT_EQ(Detect("abcd\nabcd\n"), EorKind::kLf);
  ExpectLf();
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(DetectEORTest, FindsCarriageReturnLineFeed) {
  EXPECT_EQ(Detect("abcd\r\nabc\r\n"), EorKind::kCrLf);
  ExpectCrLf();
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(DetectEORTest, FindsLineFeedCarriageReturn) {
  EXPECT_EQ(Detect("abcd\n\rabc\n\r"), EorKind::kLfCr);
  ExpectLfCr();
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(DetectEORTest, ReportsTheDefaultForAFileOfCarriageReturns) {
  EXPECT_EQ(Detect("ab\rcd\r"), EorKind::kOsDefault);
  ExpectCr();
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, ReportsTheDefaultForAFileWithoutMarks) {
  EXPECT_EQ(Detect("abcdef"), EorKind::kOsDefault);
  ExpectLf();
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, ReportsTheDefaultForAnEmptyFile) {
  EXPECT_EQ(Detect(""), EorKind::kOsDefault);
  ExpectLf();
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, LetsALineFeedFurtherBackDecideAgainstACarriageReturn) {
  EXPECT_EQ(Detect("abc\ndef\r"), EorKind::kLf);
  ExpectLf();
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(DetectEORTest, LetsCarriageReturnLineFeedFurtherBackDecideToo) {
  EXPECT_EQ(Detect("ab\r\nabc\r\ndef\r"), EorKind::kCrLf);
  ExpectCrLf();
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(DetectEORTest, MeasuresTheRecordBeforeTheLastMark) {
  EXPECT_EQ(Detect("ab\nabcdef\nxyz"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 7U);
}

TEST_F(DetectEORTest, MeasuresBackToTheFilesStart) {
  EXPECT_EQ(Detect("abcdef\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 7U);
}

TEST_F(DetectEORTest, MeasuresBackToANul) {
  EXPECT_EQ(Detect(std::string("ab\n\0\0def\n", 9)), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(DetectEORTest, MeasuresOverTheFirstByteOfAMarkOfTwo) {
  // Only the last byte of the mark ends the count: a lone CR or LF inside is data.
  EXPECT_EQ(Detect("a\nbc\rd\r\n"), EorKind::kCrLf);
  EXPECT_EQ(run.data.recordLength, 6U);
  EXPECT_EQ(Detect("a\rbc\nd\n\r"), EorKind::kLfCr);
  EXPECT_EQ(run.data.recordLength, 6U);
}

TEST_F(DetectEORTest, TakesARecordOfItsMarkAlone) {
  EXPECT_EQ(Detect("ab\n\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 1U);
  EXPECT_EQ(Detect("\r\n"), EorKind::kCrLf);
  EXPECT_EQ(run.data.recordLength, 2U);
}

TEST_F(DetectEORTest, Measures80ByteRecords) {
  EXPECT_EQ(Detect(std::string(80, 'a') + "\n" + std::string(80, 'b') + "\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 81U);
}

TEST_F(DetectEORTest, MeasuresOverSeveralBlocks) {
  EXPECT_EQ(Detect("ab\n" + std::string(200000, 'x') + "\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 200001U);
}

TEST_F(DetectEORTest, FindsAMarkSeveralBlocksBack) {
  EXPECT_EQ(Detect("ab\nabc\n" + std::string(200000, 'x')), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(DetectEORTest, FindsAMarkAtABlocksVeryEnd) {
  EXPECT_EQ(Detect("abc\n" + std::string(kBlock, 'x')), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 4U);
}

TEST_F(DetectEORTest, FindsAMarkOfTwoThatStraddlesTwoBlocks) {
  // The mark's second byte is the first byte of the last block.
  EXPECT_EQ(Detect("ab\nab\r\n" + std::string(kBlock - 1, 'x')), EorKind::kCrLf);
  ExpectCrLf();
  EXPECT_EQ(run.data.recordLength, 4U);
  EXPECT_EQ(Detect("abc\n\r" + std::string(kBlock - 1, 'x')), EorKind::kLfCr);
  ExpectLfCr();
  EXPECT_EQ(run.data.recordLength, 5U);
}

TEST_F(DetectEORTest, TakesNoMarkOfTwoFromBytesThatTouchNot) {
  EXPECT_EQ(Detect("ab\r" + std::string("\n") + std::string(kBlock - 1, 'x') + "\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, kBlock);
}

TEST_F(DetectEORTest, ReportsTheDefaultForCarriageReturnsInManyBlocks) {
  EXPECT_EQ(Detect("ab\r" + std::string(200000, 'x') + "\r"), EorKind::kOsDefault);
  ExpectCr();
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, LooksAtTheLastBlockOnlyWithVariableRecords) {
  run.options.variableRecords = true;
  EXPECT_EQ(Detect("abc\n" + std::string(kBlock, 'x')), EorKind::kCr);
  ExpectLf();  // nothing was found: the default mark stays
  EXPECT_EQ(Detect("abc\nde\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, LooksAtTheLastBlockOnlyWithADeclaredLength) {
  run.options.declaredRecordLength = 3;
  EXPECT_EQ(Detect("ab\rcd\r"), EorKind::kCr);
  ExpectCr();
  EXPECT_EQ(Detect("abc\r\nabc\r\n"), EorKind::kCrLf);
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, LooksAtTheLastBlockOnlyWithoutAnIndex) {
  run.control.indexMode = false;
  EXPECT_EQ(Detect("abc\n" + std::string(kBlock, 'x')), EorKind::kCr);
  EXPECT_EQ(Detect("abc\nabc\n"), EorKind::kLf);
  EXPECT_EQ(run.data.recordLength, 0U);
}

TEST_F(DetectEORTest, SeesAMarkThatBeginsBeforeTheLastBlock) {
  run.options.variableRecords = true;
  EXPECT_EQ(Detect("abc\r\n" + std::string(kBlock - 1, 'x')), EorKind::kCrLf);
  ExpectCrLf();
}

TEST_F(DetectEORTest, ReadsOneByteMoreInFrontOfEveryBlockButTheFirst) {
  std::vector<std::size_t> sizes;
  calls.Replace<&SystemCalls::read>([&](int fd, void* bytes, std::size_t count) {
    sizes.push_back(count);
    return calls.Original().read(fd, bytes, count);
  });
  Detect(std::string(kBlock + 10, 'x'));
  EXPECT_EQ(sizes, (std::vector<std::size_t>{kBlock + 1, 10}));
}

TEST_F(DetectEORTest, FailsWhenTheSizeCannotBeFound) {
  calls.FailFrom<&SystemCalls::lseek>(1, EIO);
  EXPECT_EQ(Detect("abc\n"), EorKind::kFailed);
}

TEST_F(DetectEORTest, FailsWhenTheFirstReadFails) {
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(Detect("abc\n"), EorKind::kFailed);
}

TEST_F(DetectEORTest, FailsWhenALaterReadFails) {
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(Detect(std::string(kBlock + 10, 'x')), EorKind::kFailed);
}

TEST_F(DetectEORTest, FailsWhenAReadFailsWhileMeasuring) {
  calls.FailFrom<&SystemCalls::read>(2, EIO);
  EXPECT_EQ(Detect(std::string(kBlock + 10, 'x') + "\n"), EorKind::kFailed);
}

TEST_F(DetectEORTest, FailsWhenASeekFailsBehindTheSize) {
  calls.FailFrom<&SystemCalls::lseek>(2, EIO);
  EXPECT_EQ(Detect("abc\n"), EorKind::kFailed);
}

TEST(EorFlags, TellsTheKinds) {
  EXPECT_EQ(EorFlags(EorKind::kCr, '\r'), 0x00);
  EXPECT_EQ(EorFlags(EorKind::kLf, '\n'), 0x80);
  EXPECT_EQ(EorFlags(EorKind::kCrLf, '\r'), 0x40);
  EXPECT_EQ(EorFlags(EorKind::kLfCr, '\n'), 0xC0);
}

TEST(EorFlags, OfTheDefaultFollowsTheMarkInForce) {
  EXPECT_EQ(EorFlags(EorKind::kOsDefault, '\n'), 0x80);
  EXPECT_EQ(EorFlags(EorKind::kOsDefault, '\r'), 0x00);
}

TEST(EorFlags, AreNoneForBinaryRecordsWithoutAMark) {
  EXPECT_EQ(EorFlags(EorKind::kNotDefined, '\n'), 0x00);
}

}  // namespace
}  // namespace tavindex::test
