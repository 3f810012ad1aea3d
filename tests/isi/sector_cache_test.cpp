#include "isi/sector_cache.h"

#include <fcntl.h>

#include <memory>

#include "common/file.h"
#include "support/run_test.h"

namespace tavindex::test {
namespace {

// A file whose sectors hold their own number.
class SectorCacheTest : public RunTest {
 protected:
  SectorCacheTest() : cache(std::make_unique<SectorCache>()) {}
  ~SectorCacheTest() override { ::close(fd); }

  void MakeFile(std::size_t size) {
    std::string bytes;
    for (std::size_t at = 0; at < size; ++at) {
      bytes += static_cast<char>(at / kSectorSize % 251 + at % kSectorSize % 2);
    }
    fd = OpenFile(scratch.Write("isi", bytes).c_str(), O_RDWR);
    calls.Replace<&SystemCalls::read>([this](int file, void* to, std::size_t count) {
      return calls.Original().read(file, to, count);
    });
  }
  std::int64_t Read(std::size_t number) {
    sector.fill(0xEE);
    return ReadSector(*cache, fd, static_cast<std::int64_t>(number * kSectorSize), sector);
  }
  void ExpectSector(std::size_t number) {
    ASSERT_EQ(Read(number), std::int64_t{kSectorSize}) << number;
    EXPECT_EQ(sector[0], number % 251) << number;
    EXPECT_EQ(sector[kSectorSize - 1], number % 251 + 1) << number;
  }
  int Reads() const { return calls.Count<&SystemCalls::read>(); }

  std::unique_ptr<SectorCache> cache;
  std::array<std::uint8_t, kSectorSize> sector{};
  int fd = -1;
};

constexpr std::size_t kSectorsOfBlock = kCachedBlockSize / kSectorSize;

TEST_F(SectorCacheTest, GivesEverySectorOfTheFile) {
  MakeFile(20 * kCachedBlockSize);
  for (std::size_t number = 0; number < 20 * kSectorsOfBlock; ++number) ExpectSector(number);
  EXPECT_EQ(Reads(), 20);
}

TEST_F(SectorCacheTest, KeepsBlocksWithPlacesOfTheirOwn) {
  MakeFile(20 * kCachedBlockSize);
  for (int round = 0; round < 3; ++round) {
    for (std::size_t block = 0; block < kCachedBlocks; ++block) {
      ExpectSector(block * kSectorsOfBlock + 5);
    }
  }
  EXPECT_EQ(Reads(), static_cast<int>(kCachedBlocks));
}

TEST_F(SectorCacheTest, ReadsABlockAgainThatGaveWayToAnother) {
  MakeFile(20 * kCachedBlockSize);
  for (int round = 0; round < 2; ++round) {
    ExpectSector(3);
    ExpectSector(3 + kCachedBlocks * kSectorsOfBlock);
  }
  EXPECT_EQ(Reads(), 4);
}

TEST_F(SectorCacheTest, TellsHowMuchOfTheLastSectorThereIs) {
  MakeFile(kCachedBlockSize + 3 * kSectorSize + 100);
  ExpectSector(kSectorsOfBlock + 2);
  EXPECT_EQ(Read(kSectorsOfBlock + 3), 100);
  EXPECT_EQ(Read(kSectorsOfBlock + 4), 0);
  EXPECT_EQ(Read(9 * kSectorsOfBlock), 0);
}

TEST_F(SectorCacheTest, ReadsASectorAloneWhenItsBlockCannotBeRead) {
  MakeFile(2 * kCachedBlockSize);
  calls.Replace<&SystemCalls::read>([this](int file, void* to, std::size_t count) -> ssize_t {
    if (count <= kSectorSize) return calls.Original().read(file, to, count);
    errno = EIO;
    return -1;
  });
  ExpectSector(7);
  ExpectSector(kSectorsOfBlock);
}

TEST_F(SectorCacheTest, TellsThatASectorCannotBeRead) {
  MakeFile(2 * kCachedBlockSize);
  calls.FailFrom<&SystemCalls::read>(1, EIO);
  EXPECT_EQ(Read(1), -1);
}

TEST_F(SectorCacheTest, ForgetReadsAnew) {
  MakeFile(2 * kCachedBlockSize);
  ExpectSector(1);
  Forget(*cache);
  ExpectSector(1);
  EXPECT_EQ(Reads(), 2);
}

}  // namespace
}  // namespace tavindex::test
