// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/ScaledPictures.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/Images/PictureHeader.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

/// A file made by the ffmpeg program: a test picture of that size and options.
Bytes made(const std::string& size, const std::string& name, const std::string& options = "",
           const std::string& source = "testsrc=size=") {
  const TemporaryFolder folder;
  const auto out = folder.path() / name;
  const std::string command =
      "ffmpeg -v error -f lavfi -i '" + source + size + "' -frames:v 1 " + options + " " + out.string();
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  std::ifstream file(out, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::optional<PictureHeader> scaled(const Bytes& file, int side = 256) {
  const auto png = ScaledPictures().scaledPNG(file, side);
  return png ? pictureHeader(*png) : std::nullopt;
}

PictureHeader png(std::uint32_t width, std::uint32_t height) {
  return {PictureFormat::png, width, height};
}

TEST(ScaledPictures, haveALongerSideOf256) {
  EXPECT_EQ(scaled(made("1024x768", "a.png")), png(256, 192));
  EXPECT_EQ(scaled(made("600x1200", "a.jpg")), png(128, 256));
  EXPECT_EQ(scaled(made("300x300", "a.jpg", "-pix_fmt yuvj444p")), png(256, 256));
  EXPECT_EQ(scaled(made("257x256", "a.png")), png(256, 255));
}

TEST(ScaledPictures, areNeverEnlarged) {
  EXPECT_EQ(scaled(made("256x256", "a.png")), png(256, 256));
  EXPECT_EQ(scaled(made("64x48", "a.jpg")), png(64, 48));
  EXPECT_EQ(scaled(made("64x48", "a.png", "-pix_fmt pal8")), png(64, 48));
}

TEST(ScaledPictures, haveAtLeastOnePixelOnEachSide) {
  EXPECT_EQ(scaled(made("2048x4", "a.png")), png(256, 1));
}

TEST(ScaledPictures, keepTransparency) {
  const auto colourTypeOf = [](const Bytes& file) {
    const auto result = ScaledPictures().scaledPNG(file, 256);
    return result ? int{result->at(25)} : -1;
  };
  constexpr int rgb = 2;  // PNG, section 11.2.1
  constexpr int rgba = 6;
  EXPECT_EQ(colourTypeOf(made("512x512", "a.png", "-pix_fmt rgba")), rgba);
  EXPECT_EQ(colourTypeOf(made("512x512", "a.png", "-pix_fmt rgb24")), rgb);
  EXPECT_EQ(colourTypeOf(made("512x512", "a.png", "-pix_fmt gray16be")), rgb);
}

TEST(ScaledPictures, keepTheColour) {
  const auto file = made("512x512", "a.png", "-pix_fmt rgb24", "color=c=0x4080C0:s=");
  const auto result = ScaledPictures().scaledPNG(file, 256);
  ASSERT_TRUE(result);
  const TemporaryFolder folder;
  std::ofstream(folder.path() / "in.png", std::ios::binary) << textViewOf(*result);
  const std::string command =
      "ffmpeg -v error -i " + folder.file("in.png") + " -f rawvideo -pix_fmt rgb24 " + folder.file("out.raw");
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::ifstream raw(folder.path() / "out.raw", std::ios::binary);
  const Bytes pixels{std::istreambuf_iterator<char>(raw), std::istreambuf_iterator<char>()};
  ASSERT_EQ(pixels.size(), 256U * 256U * 3U);
  constexpr std::size_t middle = (128 * 256 + 128) * 3;
  EXPECT_NEAR(pixels[middle], 0x40, 3);
  EXPECT_NEAR(pixels[middle + 1], 0x80, 3);
  EXPECT_NEAR(pixels[middle + 2], 0xC0, 3);
}

TEST(ScaledPictures, refuseHugeSizesByTheHeader) {
  Bytes file = made("64x64", "a.png");
  for (const auto& [width, height] : {std::pair{0x80U, 0x80U}, std::pair{0U, 0U}}) {
    file[17] = static_cast<std::uint8_t>(width);  // of IHDR: 8 million pixels wide, or none
    file[21] = static_cast<std::uint8_t>(height);
    if (width == 0) file[18] = file[19] = 0;
    EXPECT_EQ(scaled(file), std::nullopt);
  }
  EXPECT_EQ(scaled(made("4100x4100", "a.png", "", "color=s=")), std::nullopt) << "more pixels than the limit";
  EXPECT_EQ(scaled(made("4096x4096", "a.png", "", "color=s=")), png(256, 256));
}

TEST(ScaledPictures, surviveCorruptFiles) {
  for (const auto* name : {"a.png", "a.jpg"}) {
    const Bytes whole = made("128x128", name);
    ASSERT_TRUE(scaled(whole));
    for (std::size_t length = 0; length < whole.size(); length += 37) {
      const auto cut = scaled(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
      EXPECT_EQ(cut.value_or(png(128, 128)), png(128, 128));
    }
    for (std::size_t at = 0; at < whole.size(); at += 11) {
      Bytes changed = whole;
      changed[at] ^= 0x55;
      const auto result = scaled(changed);
      EXPECT_TRUE(!result || std::max(result->width, result->height) <= 256U);
    }
  }
  EXPECT_EQ(scaled({}), std::nullopt);
  EXPECT_EQ(scaled(bytesOf("no picture at all")), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
