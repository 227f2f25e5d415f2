// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Pictures/FrameConverter.h>

#include <array>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace quorl {
namespace {

struct Chroma {
  int blueDifference;
  int redDifference;
};

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;
constexpr int side = 16;

/// The chroma sample of the 2x2 pixels in the middle of a picture, each with its own colour.
Chroma chromaOf(const std::array<std::uint32_t, 4>& quad) {
  std::vector<std::uint32_t> pixels(side * side);
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x)
      pixels[static_cast<std::size_t>(y * side + x)] = quad[static_cast<std::size_t>(y % 2 * 2 + x % 2)];
  const PixelView view{reinterpret_cast<const std::uint8_t*>(pixels.data()), side * 4, {side, side}};
  std::vector<std::uint8_t> luma(side * side);
  std::vector<std::uint8_t> chroma(side * side / 2);
  FrameConverter converter({side, side}, {side, side});
  const DirtyRegion all(PixelRect{0, 0, side, side});
  converter.convert(view, converter.update(view, all), {luma.data(), side, chroma.data(), side}, [](int) {});
  const std::size_t middle = side / 4 * side + side / 2;
  return {chroma[middle], chroma[middle + 1]};
}

// As the streams declare (chroma sample location 1): a sample in the middle of four pixels with equal
// weights.
TEST(FrameConverter, centresChromaSamplesBetweenFourPixels) {
  const Chroma allRed = chromaOf({red, red, red, red});
  const Chroma allBlue = chromaOf({blue, blue, blue, blue});
  ASSERT_GT(allRed.redDifference, allBlue.redDifference + 100);
  const auto expectMiddle = [&](const std::array<std::uint32_t, 4>& quad, const char* where) {
    const Chroma mixed = chromaOf(quad);
    EXPECT_NEAR(mixed.redDifference, (allRed.redDifference + allBlue.redDifference) / 2.0, 2) << where;
    EXPECT_NEAR(mixed.blueDifference, (allRed.blueDifference + allBlue.blueDifference) / 2.0, 2) << where;
  };
  expectMiddle({red, blue, red, blue}, "left and right");
  expectMiddle({red, red, blue, blue}, "above and below");
  expectMiddle({red, blue, blue, red}, "crosswise");
}

}  // namespace
}  // namespace quorl
