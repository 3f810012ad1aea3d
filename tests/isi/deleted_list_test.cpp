#include "isi/deleted_list.h"

#include <unistd.h>

#include "tree_test.h"

namespace tavindex::test {
namespace {

class DeletedListTest : public TreeTest {
 protected:
  // Deletes `count` records of 10 bytes, from record `first` on.
  Result Delete(std::uint32_t count, std::uint32_t first = 0) {
    for (std::uint32_t i = 0; i < count; ++i) {
      run.scan.nextLfa = std::uint64_t{first + i} * 10;
      if (const Result result = AddDeletedRecord(run); result != kOk) return result;
    }
    return kOk;
  }
  struct ListSector {
    std::vector<std::uint32_t> addresses;
    std::uint32_t previous;
  };
  ListSector SectorAt(std::size_t offset) const {
    const std::string file = File();
    EXPECT_LE(offset + 512, file.size());
    const std::uint8_t* bytes = AsBytes(file).data() + offset;
    const ByteOrder order = run.isi.byteOrder;
    EXPECT_EQ(bytes[510], 0xF9);
    EXPECT_EQ(bytes[511], 0xFD);
    ListSector sector{{}, Load32(bytes + 504, order)};
    for (std::uint32_t i = 0; i < Load16(bytes + 508, order); ++i) {
      sector.addresses.push_back(Load32(bytes + 4 * i, order));
    }
    return sector;
  }
  Result WriteOpen() {
    EXPECT_EQ(SeekTo(run.files.outputFd, 1536), 1536);
    return WriteOpenList(run);
  }
};

TEST_F(DeletedListTest, AddDeletedRecordKeepsAddressesInFileOrder) {
  Start(4);
  EXPECT_EQ(Delete(2), kOk);
  EXPECT_EQ(Delete(1, 9), kOk);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(SectorAt(1536).addresses, (std::vector<std::uint32_t>{0, 10, 90}));
  EXPECT_EQ(SectorAt(1536).previous, 0xFFFFFFFFU);
  EXPECT_EQ(run.isi.deletedListHead, 1536U);
}

TEST_F(DeletedListTest, WriteOpenListWritesNothingWithoutDeletions) {
  Start(4);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(File(), std::string(2048, '\0'));
  EXPECT_EQ(run.isi.deletedListHead, 0xFFFFFFFFU);
}

TEST_F(DeletedListTest, AFullSectorStaysOpenUntilTheNextDeletion) {
  Start(4);
  EXPECT_EQ(Delete(126), kOk);
  EXPECT_EQ(File().size(), 2048U);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(SectorAt(1536).addresses.size(), 126U);
  EXPECT_EQ(run.isi.nextNodeAddr, 1536U);  // the first node goes to 2048
}

TEST_F(DeletedListTest, The127thDeletionWritesTheFullSector) {
  Start(4);
  EXPECT_EQ(Delete(127), kOk);
  EXPECT_EQ(File().size(), 2560U);
  EXPECT_EQ(run.isi.nextNodeAddr, 2048U);
  EXPECT_EQ(run.isi.deletedListHead, 2048U);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(SectorAt(2048).addresses.size(), 126U);
  EXPECT_EQ(SectorAt(2048).previous, 0xFFFFFFFFU);
  EXPECT_EQ(SectorAt(1536).addresses, (std::vector<std::uint32_t>{1260}));
  EXPECT_EQ(SectorAt(1536).previous, 2048U);
}

TEST_F(DeletedListTest, SectorsAreChainedBackwards) {
  Start(4);
  EXPECT_EQ(Delete(300), kOk);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(SectorAt(1536).previous, 2560U);
  EXPECT_EQ(SectorAt(1536).addresses.size(), 48U);
  EXPECT_EQ(SectorAt(2560).previous, 2048U);
  EXPECT_EQ(SectorAt(2560).addresses.front(), 1260U);
  EXPECT_EQ(SectorAt(2560).addresses.back(), 2510U);
  EXPECT_EQ(SectorAt(2048).previous, 0xFFFFFFFFU);
}

TEST_F(DeletedListTest, RecordNumberModeListsNumbersAndSectors) {
  run.isi.recordNumberMode = true;
  Start(4);
  EXPECT_EQ(Delete(127), kOk);
  EXPECT_EQ(run.isi.deletedListHead, 4U);
  EXPECT_EQ(WriteOpen(), kOk);
  EXPECT_EQ(SectorAt(2048).addresses[125], 125U);
  EXPECT_EQ(SectorAt(1536).addresses, (std::vector<std::uint32_t>{126}));
  EXPECT_EQ(SectorAt(1536).previous, 4U);
  EXPECT_EQ(run.isi.deletedListHead, 3U);
}

// Between two records there is no number; the next record's would be given away as free.
TEST_F(DeletedListTest, APositionWithoutANumberGivesTheIndexUp) {
  run.isi.recordNumberMode = true;
  Start(4);
  run.scan.nextLfa = 30;
  EXPECT_EQ(AddDeletedRecord(run), kOk);
  EXPECT_FALSE(run.data.longRecordSeen);
  run.scan.nextLfa = 35;
  EXPECT_EQ(AddDeletedRecord(run), kOk);
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(DeletedListTest, APositionBeyond32BitsGivesTheIndexUp) {
  Start(4);
  run.scan.nextLfa = 0xFFFFFFF6;
  EXPECT_EQ(AddDeletedRecord(run), kOk);
  EXPECT_FALSE(run.data.longRecordSeen);
  run.scan.nextLfa = 0x100000000;
  EXPECT_EQ(AddDeletedRecord(run), kOk);
  EXPECT_TRUE(run.data.longRecordSeen);
}

TEST_F(DeletedListTest, BigEndianSectorsAreSwapped) {
  run.isi.byteOrder = ByteOrder::kBig;
  Start(4);
  EXPECT_EQ(Delete(1, 0x1122334), kOk);
  EXPECT_EQ(WriteOpen(), kOk);
  // 0x1122334 * 10 = 0x0AB56008
  EXPECT_EQ(File().substr(1536, 4), std::string("\x0A\xB5\x60\x08", 4));
  EXPECT_EQ(File().substr(1536 + 508, 4), std::string("\0\x01\xF9\xFD", 4));
}

TEST_F(DeletedListTest, VariableRecordsHaveNoList) {
  Start(4);
  run.options.variableRecords = true;
  EXPECT_EQ(Delete(200), kOk);
  EXPECT_EQ(run.isi.listCount, 0U);
  EXPECT_EQ(File().size(), 2048U);
}

TEST_F(DeletedListTest, AddDeletedRecordTellsThatAWriteFailed) {
  Start(4);
  EXPECT_EQ(Delete(126), kOk);
  calls.FailFrom<&SystemCalls::write>(1, ENOSPC);
  EXPECT_EQ(Delete(1, 126), -8);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=28\n");
  EXPECT_EQ(run.files.workFile, run.files.outputFd);
}

TEST_F(DeletedListTest, AddDeletedRecordTellsThatAShortWriteCouldNotBeFinished) {
  Start(4);
  EXPECT_EQ(Delete(126), kOk);
  calls.Replace<&SystemCalls::write>(
      [this](int fd, const void* bytes, std::size_t count) -> ssize_t {
        if (count == 512) return calls.Original().write(fd, bytes, 100);
        errno = EFBIG;
        return -1;
      });
  EXPECT_EQ(Delete(1, 126), -8);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

TEST_F(DeletedListTest, AddDeletedRecordRefusesAnAddressPast32Bits) {
  Start(4);
  EXPECT_EQ(Delete(126), kOk);
  run.isi.nextNodeAddr = 0xFFFFFE00;
  EXPECT_EQ(Delete(1, 126), -8);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=27\n");
}

TEST_F(DeletedListTest, WriteOpenListTellsThatAWriteFailed) {
  Start(4);
  EXPECT_EQ(Delete(1), kOk);
  calls.FailFrom<&SystemCalls::write>(1, EIO);
  EXPECT_EQ(WriteOpen(), -157);
  EXPECT_EQ(console.Text(), "\nUnable to write segment of index file. Errno=5\n");
}

}  // namespace
}  // namespace tavindex::test
