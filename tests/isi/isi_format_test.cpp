#include "isi/isi_format.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tavindex::test {
namespace {

using HeaderBytes = std::array<std::uint8_t, 1024>;

IsiHeader SampleHeader() {
  IsiHeader fields;
  fields.fileFlags = 0xA5;
  fields.addrFlags = 0x11;
  fields.recordLength = 0x1234;
  fields.keyLength = 0x0096;
  fields.dataEnd = 0x89ABCDEF;
  fields.deletedListHead = 0x00000600;
  fields.rootNode = 0x00000400;
  fields.spinCounter = 0x01020304;
  fields.recordsIndexed = 0x05060708;
  fields.deletedCount = 0x090A0B0C;
  fields.conditionTable[0] = {0x0102, 0x20, 'A'};
  fields.conditionTable[9] = {0x0304, 0x10, 'Z'};
  fields.keyTable[0] = {0x0506, 0x0708};
  fields.keyTable[30] = {0x090A, 0x0B0C};
  fields.dataFileName.Assign("/data/NAMES.TXT");
  fields.commandLine.Assign("names -1-10");
  return fields;
}

void Put(HeaderBytes& bytes, std::size_t at, std::initializer_list<int> values) {
  for (const int value : values) bytes[at++] = static_cast<std::uint8_t>(value);
}
void Put(HeaderBytes& bytes, std::size_t at, const std::string& text) {
  for (const char c : text) bytes[at++] = static_cast<std::uint8_t>(c);
}

// What is the same in both byte orders.
HeaderBytes SampleBytes() {
  HeaderBytes bytes{};
  Put(bytes, 0, "KISI");
  Put(bytes, 6, {0xA5, 0x11});
  Put(bytes, 24, {0xFF, 0xFF, 0xFF, 0xFF});
  Put(bytes, 240, "/data/NAMES.TXT");
  Put(bytes, 496, "names -1-10");
  return bytes;
}

HeaderBytes LittleEndianSample() {
  HeaderBytes bytes = SampleBytes();
  Put(bytes, 4, {0x03, 0xFC});
  Put(bytes, 8, {0x34, 0x12, 0x96, 0x00, 0xEF, 0xCD, 0xAB, 0x89});
  Put(bytes, 16, {0x00, 0x06, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00});
  Put(bytes, 32, {0x04, 0x03, 0x02, 0x01});
  Put(bytes, 44, {0x08, 0x07, 0x06, 0x05, 0x0C, 0x0B, 0x0A, 0x09});
  Put(bytes, 64, {0x02, 0x01, 0x20, 'A'});
  Put(bytes, 100, {0x04, 0x03, 0x10, 'Z'});
  Put(bytes, 112, {0x06, 0x05, 0x08, 0x07});
  Put(bytes, 232, {0x0A, 0x09, 0x0C, 0x0B});
  return bytes;
}

HeaderBytes BigEndianSample() {
  HeaderBytes bytes = SampleBytes();
  Put(bytes, 4, {0xFC, 0x03});
  Put(bytes, 8, {0x12, 0x34, 0x00, 0x96, 0x89, 0xAB, 0xCD, 0xEF});
  Put(bytes, 16, {0x00, 0x00, 0x06, 0x00, 0x00, 0x00, 0x04, 0x00});
  Put(bytes, 32, {0x01, 0x02, 0x03, 0x04});
  Put(bytes, 44, {0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C});
  Put(bytes, 64, {0x01, 0x02, 0x20, 'A'});
  Put(bytes, 100, {0x03, 0x04, 0x10, 'Z'});
  Put(bytes, 112, {0x05, 0x06, 0x07, 0x08});
  Put(bytes, 232, {0x09, 0x0A, 0x0B, 0x0C});
  return bytes;
}

HeaderBytes Encode(const IsiHeader& fields, ByteOrder order) {
  HeaderBytes bytes;
  bytes.fill(0xEE);
  EncodeHeader(fields, bytes, order);
  return bytes;
}

TEST(EncodeHeader, PlacesEveryFieldLittleEndian) {
  EXPECT_EQ(Encode(SampleHeader(), ByteOrder::kLittle), LittleEndianSample());
}

TEST(EncodeHeader, PlacesEveryFieldBigEndian) {
  EXPECT_EQ(Encode(SampleHeader(), ByteOrder::kBig), BigEndianSample());
}

TEST(EncodeHeader, FillsTheLongestTexts) {
  IsiHeader fields;
  fields.dataFileName.Assign(std::string(256, 'd'));
  fields.commandLine.Assign(std::string(527, 'c'));
  const HeaderBytes bytes = Encode(fields, ByteOrder::kLittle);
  EXPECT_EQ(bytes[239], 0);
  EXPECT_EQ(bytes[240], 'd');
  EXPECT_EQ(bytes[495], 'd');  // not terminated
  EXPECT_EQ(bytes[496], 'c');
  EXPECT_EQ(bytes[1022], 'c');
  EXPECT_EQ(bytes[1023], 0);
}

TEST(DecodeHeader, ReadsWhatALittleEndianFileHolds) {
  const HeaderBytes bytes = LittleEndianSample();
  EXPECT_EQ(Encode(DecodeHeader(bytes), ByteOrder::kLittle), bytes);
  EXPECT_EQ(DecodeHeader(bytes).recordLength, 0x1234);
  EXPECT_EQ(DecodeHeader(bytes).conditionTable[9].column, 0x0304);
  EXPECT_EQ(DecodeHeader(bytes).commandLine.View(), "names -1-10");
}

TEST(DecodeHeader, ReadsWhatABigEndianFileHolds) {
  const IsiHeader fields = DecodeHeader(BigEndianSample());
  EXPECT_EQ(Encode(fields, ByteOrder::kLittle), LittleEndianSample());
  EXPECT_EQ(fields.deletedListHead, 0x600U);
  EXPECT_EQ(fields.keyTable[30].length, 0x0B0C);
}

TEST(DecodeHeader, ReadsTextsWithoutATerminator) {
  HeaderBytes bytes = LittleEndianSample();
  for (std::size_t i = 240; i < 1024; ++i) bytes[i] = i < 496 ? 'd' : 'c';
  const IsiHeader fields = DecodeHeader(bytes);
  EXPECT_EQ(fields.dataFileName.View(), std::string(256, 'd'));
  EXPECT_EQ(fields.commandLine.View(), std::string(527, 'c'));
}

TEST(HasIsiSignature, NeedsTheFourBytesAndAComplementPair) {
  HeaderBytes bytes = LittleEndianSample();
  EXPECT_TRUE(HasIsiSignature(bytes));
  EXPECT_TRUE(HasIsiSignature(BigEndianSample()));
  for (std::size_t i = 0; i < 6; ++i) {
    HeaderBytes wrong = bytes;
    wrong[i] ^= 0x01;
    EXPECT_FALSE(HasIsiSignature(wrong)) << "byte " << i;
  }
  Put(bytes, 4, {0x07, 0xF8});  // another version
  EXPECT_TRUE(HasIsiSignature(bytes));
}

TEST(HasIsiSignature, RefusesAFileTooShortForIt) {
  const HeaderBytes bytes = LittleEndianSample();
  for (std::size_t size = 0; size < 6; ++size) {
    EXPECT_FALSE(HasIsiSignature({bytes.data(), size})) << size;
  }
  EXPECT_TRUE(HasIsiSignature({bytes.data(), 6}));
}

TEST(HeaderByteOrder, IsToldByTheVersionBytes) {
  EXPECT_EQ(HeaderByteOrder(LittleEndianSample()), ByteOrder::kLittle);
  EXPECT_EQ(HeaderByteOrder(BigEndianSample()), ByteOrder::kBig);
}

TEST(EntrySize, RoundsTheKeyUpToFourBytes) {
  const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{1, 16}, {4, 16},    {5, 20},   {8, 20},
                                                           {9, 24}, {149, 164}, {150, 164}};
  for (const auto& [keyLength, size] : sizes) EXPECT_EQ(entry::Size(keyLength), size) << keyLength;
}

TEST(EorBytes, FollowTheFileFlags) {
  const std::pair<int, std::uint32_t> marks[] = {{0x00, 0}, {0x3F, 0}, {0x10, 0}, {0x40, 2},
                                                 {0x80, 1}, {0xC0, 2}, {0xA2, 1}, {0x7F, 2}};
  for (const auto& [flags, bytes] : marks) {
    EXPECT_EQ(EorBytes(static_cast<std::uint8_t>(flags)), bytes) << flags;
  }
}

TEST(NodeFields, StandAtTheEndOfTheSector) {
  std::array<std::uint8_t, 512> sector{};
  node::SetEntryCount(sector.data(), 31);
  node::SetLevel(sector.data(), 3, ByteOrder::kLittle);
  node::SetLastChild(sector.data(), 0x11223344, ByteOrder::kLittle);
  std::array<std::uint8_t, 512> expected{};
  expected[500] = 31;
  expected[506] = 3;
  expected[508] = 0x44;
  expected[509] = 0x33;
  expected[510] = 0x22;
  expected[511] = 0x11;
  EXPECT_EQ(sector, expected);
  EXPECT_EQ(node::EntryCount(sector.data()), 31U);
  EXPECT_EQ(node::LastChild(sector.data(), ByteOrder::kLittle), 0x11223344U);
}

TEST(NodeFields, AreSwappedInABigEndianFileButTheCount) {
  std::array<std::uint8_t, 512> sector{};
  node::SetEntryCount(sector.data(), 31);
  node::SetLevel(sector.data(), 3, ByteOrder::kBig);
  node::SetLastChild(sector.data(), 0x11223344, ByteOrder::kBig);
  EXPECT_EQ(sector[500], 31);
  EXPECT_EQ(sector[506], 0);
  EXPECT_EQ(sector[507], 3);
  EXPECT_EQ(sector[508], 0x11);
  EXPECT_EQ(sector[511], 0x44);
}

}  // namespace
}  // namespace tavindex::test
