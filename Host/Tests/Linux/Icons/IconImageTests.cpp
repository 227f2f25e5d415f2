// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/Icons/IconImage.h>

namespace quorl::test {
namespace {

IconImage filled(PixelSize size, std::uint32_t color) {
  return {size, std::vector<std::uint32_t>(std::size_t(size.width) * std::size_t(size.height), color)};
}

TEST(IconImage, isTheSameAfterEncodingAndDecoding) {
  const IconImage image{{2, 2}, {0xFFFF0000, 0x8000FF00, 0x000000FF, 0xFF123456}};
  const auto bytes = encodePNG(image);
  ASSERT_TRUE(bytes);
  // The signature of ISO/IEC 15948.
  EXPECT_EQ(Bytes(bytes->begin(), bytes->begin() + 8), (Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}));
  EXPECT_EQ(decodePNG(*bytes), image);
}

TEST(IconImage, isRefusedWhenTooLarge) {
  const auto good = encodePNG(filled({largestIconSide, 1}, 0xFF00FF00));
  const auto large = encodePNG(filled({largestIconSide + 1, 1}, 0xFF00FF00));
  ASSERT_TRUE(good && large);
  EXPECT_TRUE(decodePNG(*good));
  EXPECT_FALSE(decodePNG(*large));
}

TEST(IconImage, isRefusedWhenDamaged) {
  const auto bytes = *encodePNG(filled({32, 32}, 0xFF00FF00));
  EXPECT_FALSE(decodePNG({}));
  for (std::size_t length = 0; length + 12 < bytes.size(); length += 7)
    EXPECT_FALSE(decodePNG(ByteView(bytes).first(length))) << length;
  Bytes huge = bytes;
  // The width is at byte 16 of the header chunk; its checksum is wrong then as well.
  huge[16] = 0x7F;
  EXPECT_FALSE(decodePNG(huge));
}

TEST(IconImage, isScaledWholeIntoTheSquare) {
  IconImage image = filled({128, 64}, 0xFF0000FF);
  for (std::size_t row = 0; row < 64; ++row)
    for (std::size_t column = 0; column < 64; ++column) image.pixels[row * 128 + column] = 0xFFFF0000;
  const IconImage scaled = scaledToSquare(image, 48);
  EXPECT_EQ(scaled.size, (PixelSize{48, 48}));
  ASSERT_EQ(scaled.pixels.size(), 48U * 48U);
  EXPECT_EQ(scaled.pixels[24 * 48 + 4], 0xFFFF0000U);
  EXPECT_EQ(scaled.pixels[24 * 48 + 44], 0xFF0000FFU);
}

TEST(IconImage, keepsItsColourAtTransparentEdges) {
  // Red beside transparent white: a mixture that ignores alpha would be pink.
  IconImage image = filled({64, 64}, 0x00FFFFFF);
  for (std::size_t at = 0; at < image.pixels.size(); ++at)
    if (at % 2 == 0) image.pixels[at] = 0xFFFF0000;
  const std::uint32_t mixed = scaledToSquare(image, 32).pixels[16 * 32 + 16];
  EXPECT_NEAR(double(mixed >> 24), 128, 8);
  EXPECT_GE(mixed >> 16 & 0xFF, 0xF0U);
  EXPECT_LE(mixed & 0xFF, 0x10U);
}

TEST(IconImage, mayHaveOnePixel) {
  const IconImage scaled = scaledToSquare(filled({1, 1}, 0xFF336699), 48);
  EXPECT_EQ(scaled, filled({48, 48}, 0xFF336699));
}

}  // namespace
}  // namespace quorl::test
