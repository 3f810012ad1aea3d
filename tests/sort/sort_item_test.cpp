#include "sort/sort_item.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tavindex::test {
namespace {

std::string ItemOf(std::uint64_t lfa, const std::string& key) {
  std::string bytes(10, '\0');
  for (int i = 0; i < 8; ++i) bytes[static_cast<std::size_t>(i)] = static_cast<char>(lfa >> 8 * i);
  return bytes + key;
}

int Compare(const std::string& a, const std::string& b) {
  const auto keyOf = [](const std::string& item) {
    return reinterpret_cast<const std::uint8_t*>(item.data()) + 10;
  };
  return CompareItems(keyOf(a), keyOf(b), static_cast<std::uint32_t>(a.size() - 10));
}

TEST(SetPlace, StoresTheAddressLowHalfFirstAndThenTheLength) {
  std::array<std::uint8_t, 12> item{};
  item.fill(0xAA);
  item::SetPlace(item.data(), 0x1122334455667788, 0x99AB);
  const std::array<std::uint8_t, 12> expected{0x88, 0x77, 0x66, 0x55, 0x44, 0x33,
                                              0x22, 0x11, 0xAB, 0x99, 0xAA, 0xAA};
  EXPECT_EQ(item, expected);
  EXPECT_EQ(item::Lfa(item.data()), 0x1122334455667788U);
  EXPECT_EQ(item::RecLength(item.data()), 0x99ABU);
}

TEST(WriteEndMarker, HasTwoOnesInTheKeyAndZerosBehind) {
  std::array<std::uint8_t, 16> item{};
  item.fill(0x55);
  item::WriteEndMarker(item.data(), 15);
  const std::array<std::uint8_t, 16> expected{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                              0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x55};
  EXPECT_EQ(item, expected);
}

TEST(WriteEndMarker, HasOneKeyByteWhenTheKeyHasOne) {
  std::array<std::uint8_t, 12> item{};
  item::WriteEndMarker(item.data(), 11);
  for (std::size_t i = 0; i < 11; ++i) EXPECT_EQ(item[i], 0xFF);
  EXPECT_EQ(item[11], 0);  // behind the item
}

TEST(IsEndMarker, LooksAtTheAddressAlone) {
  std::string item(14, '\0');
  EXPECT_FALSE(item::IsEndMarker(reinterpret_cast<const std::uint8_t*>(item.data())));
  for (std::size_t i = 0; i < 8; ++i) item[i] = '\xFF';
  EXPECT_TRUE(item::IsEndMarker(reinterpret_cast<const std::uint8_t*>(item.data())));
  item = ItemOf(5, "\xFF\xFF\x00\x00");
  EXPECT_FALSE(item::IsEndMarker(reinterpret_cast<const std::uint8_t*>(item.data())));
  item = ItemOf(0x00000000FFFFFFFF, "abcd");
  EXPECT_FALSE(item::IsEndMarker(reinterpret_cast<const std::uint8_t*>(item.data())));
}

TEST(CompareItems, OrdersKeysAsUnsignedBytes) {
  EXPECT_EQ(Compare(ItemOf(9, "a\x7F"), ItemOf(1, "a\x80")), -1);
  EXPECT_EQ(Compare(ItemOf(1, "a\xFF"), ItemOf(9, "a\x01")), 1);
  EXPECT_EQ(Compare(ItemOf(1, "ba"), ItemOf(9, "ab")), 1);
  EXPECT_EQ(Compare(ItemOf(9, std::string("a\0", 2)), ItemOf(1, "a ")), -1);
}

TEST(CompareItems, OrdersEqualKeysByAddress) {
  EXPECT_EQ(Compare(ItemOf(1, "k"), ItemOf(2, "k")), -1);
  EXPECT_EQ(Compare(ItemOf(2, "k"), ItemOf(1, "k")), 1);
}

TEST(CompareItems, OrdersEqualKeysByTheHighHalfFirst) {
  EXPECT_EQ(Compare(ItemOf(0x100000000, "k"), ItemOf(0xFFFFFFFF, "k")), 1);
  EXPECT_EQ(Compare(ItemOf(0x1FFFFFFFF, "k"), ItemOf(0x200000000, "k")), -1);
  EXPECT_EQ(Compare(ItemOf(0x8000000000000000, "k"), ItemOf(1, "k")), 1);
}

TEST(CompareItems, NeverFindsTwoItemsEqual) {
  EXPECT_EQ(Compare(ItemOf(7, "k"), ItemOf(7, "k")), -1);
}

}  // namespace
}  // namespace tavindex::test
