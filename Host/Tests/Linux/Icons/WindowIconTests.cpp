// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/Icons/WindowIcon.h>

namespace quorl::test {
namespace {

using Numbers = std::vector<std::uint32_t>;

void add(Numbers& list, std::uint32_t width, std::uint32_t height) {
  list.push_back(width);
  list.push_back(height);
  list.insert(list.end(), std::size_t{width} * height, 0xFF000000 | width);
}

std::optional<IconImage> best(const Numbers& list, int side, std::uint32_t* mostRead = nullptr) {
  const auto read = [&](std::uint32_t offset, std::uint32_t count) -> Numbers {
    if (mostRead != nullptr) *mostRead = std::max(*mostRead, count);
    if (offset >= list.size()) return {};
    const auto first = list.begin() + offset;
    return {first, first + std::min<std::ptrdiff_t>(count, list.end() - first)};
  };
  return bestWindowIcon(list.size(), read, side);
}

int widthOfBest(const Numbers& list, int side) {
  const auto icon = best(list, side);
  return icon ? icon->size.width : 0;
}

TEST(WindowIcon, isTheSmallestThatNeedNotBeEnlargedElseTheLargest) {
  Numbers list;
  for (const std::uint32_t side : {16U, 256U, 64U, 48U, 32U}) add(list, side, side);
  EXPECT_EQ(widthOfBest(list, 48), 48);
  EXPECT_EQ(widthOfBest(list, 50), 64);
  EXPECT_EQ(widthOfBest(list, 65), 256);
  EXPECT_EQ(widthOfBest(list, 500), 256);
  EXPECT_EQ(best(list, 64)->pixels, Numbers(64 * 64, 0xFF000040));
}

TEST(WindowIcon, isAbsentWithoutACompleteOne) {
  EXPECT_FALSE(best({}, 48));
  EXPECT_FALSE(best({48}, 48));
  Numbers cut;
  add(cut, 48, 48);
  cut.pop_back();
  EXPECT_FALSE(best(cut, 48));
}

TEST(WindowIcon, isTakenFromTheIconsBeforeATruncatedOne) {
  Numbers list;
  add(list, 16, 16);
  add(list, 48, 48);
  list.resize(list.size() - 10);
  EXPECT_EQ(widthOfBest(list, 48), 16);
}

TEST(WindowIcon, isNeverOfAnAbsurdSize) {
  for (const auto& [width, height] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{0, 0},
                                                            {0, 48},
                                                            {48, 0},
                                                            {1025, 1},
                                                            {0xFFFFFFFF, 0xFFFFFFFF},
                                                            {0x10000, 0x10000},
                                                            {0x80000000, 2}}) {
    Numbers list;
    add(list, 16, 16);
    list.insert(list.end(), {width, height});
    list.resize(list.size() + 4096);
    std::uint32_t mostRead = 0;
    const auto icon = best(list, 48, &mostRead);
    ASSERT_TRUE(icon) << width;
    EXPECT_EQ(icon->size, (PixelSize{16, 16})) << width;
    EXPECT_LE(mostRead, 256U) << width;
  }
}

TEST(WindowIcon, endsTheListAfterThirtyTwoIcons) {
  Numbers list;
  for (int at = 0; at < 32; ++at) add(list, 8, 8);
  add(list, 48, 48);
  EXPECT_EQ(widthOfBest(list, 48), 8);
}

TEST(WindowIcon, isAbsentWhenTheListShrinksWhileItIsRead) {
  int reads = 0;
  const auto read = [&](std::uint32_t, std::uint32_t count) -> Numbers {
    if (++reads == 1) return {48, 48};
    return Numbers(count / 2, 0);
  };
  EXPECT_FALSE(bestWindowIcon(2 + 48 * 48, read, 48));
}

}  // namespace
}  // namespace quorl::test
