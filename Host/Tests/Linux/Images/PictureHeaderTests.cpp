// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/PictureHeader.h>

#include <string>

#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using namespace std::string_literals;

std::string number(std::uint32_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
  return text;
}

std::string chunk(const std::string& type, const std::string& data) {
  return number(static_cast<std::uint32_t>(data.size()), 4) + type + data + "crc.";
}

std::string png(std::uint32_t width, std::uint32_t height, const std::string& rest) {
  return "\x89PNG\r\n\x1A\n" + chunk("IHDR", number(width, 4) + number(height, 4) + "\x08\x02\0\0\0"s) + rest;
}

std::string segment(char code, const std::string& data) {
  return "\xFF"s + code + number(static_cast<std::uint32_t>(data.size() + 2), 2) + data;
}

std::string frame(std::uint32_t width, std::uint32_t height, char code = '\xC0') {
  return segment(code, "\x08" + number(height, 2) + number(width, 2) + "\x01\x01\x11\0"s);
}

const std::string start = "\xFF\xD8";
const std::string scan = segment('\xDA', "\x01\x01\0\0\x3F\0"s) + "data\xFF\0more"s;

std::optional<PictureHeader> header(const std::string& file) {
  return pictureHeader(viewOf(file));
}

TEST(PictureHeader, readsTheSizeOfAPNG) {
  EXPECT_EQ(header(png(60'000, 50'000, "")), (PictureHeader{PictureFormat::png, 60'000, 50'000}));
  EXPECT_EQ(header(png(1, 1, "").substr(0, 23)), std::nullopt);
  EXPECT_EQ(header("\x89PNG\r\n\x1A\n" + chunk("IDAT", "0123456789")), std::nullopt);
}

TEST(PictureHeader, readsTheSizeOfAJPEG) {
  const PictureHeader expected{PictureFormat::jpeg, 640, 480};
  EXPECT_EQ(header(start + segment('\xE0', "JFIF") + frame(640, 480) + scan), expected);
  EXPECT_EQ(header(start + frame(640, 480, '\xC2') + scan + scan + "\xFF\xD9"), expected);
  EXPECT_EQ(header(start + segment('\xE1', frame(9, 9)) + frame(640, 480) + scan), expected)
      << "a frame inside another segment is not the picture's";
}

TEST(PictureHeader, refusesAJPEGWithoutOneFrameAndItsScans) {
  EXPECT_EQ(header(start + frame(640, 480)), std::nullopt);
  EXPECT_EQ(header(start + scan), std::nullopt);
  EXPECT_EQ(header(start + frame(1, 1) + scan + frame(60'000, 60'000) + scan), std::nullopt);
  EXPECT_EQ(header(start + "\xFF\xC0\0"s), std::nullopt);
  std::string scans;
  for (int i = 0; i < mostScans; ++i) scans += scan;
  EXPECT_TRUE(header(start + frame(1, 1) + scans));
  EXPECT_EQ(header(start + frame(1, 1) + scans + scan), std::nullopt);
}

TEST(PictureHeader, knowsNoOtherFormats) {
  for (const auto& file : {""s, "\x89"s, "GIF89a"s, "<svg/>"s, start, "II*\0"s})
    EXPECT_EQ(header(file), std::nullopt);
}

TEST(EssentialPNG, hasOnlyTheChunksOfThePixels) {
  const auto end = chunk("IEND", "");
  const auto pixels = chunk("PLTE", "abc") + chunk("tRNS", "x") + chunk("IDAT", "data");
  const auto file = png(1, 1, chunk("zTXt", "bomb") + pixels + chunk("iCCP", "bomb") + end + "trailing");
  const auto kept = essentialPNG(viewOf(file));
  ASSERT_TRUE(kept);
  EXPECT_EQ(textViewOf(*kept), png(1, 1, pixels + end));
}

TEST(EssentialPNG, isAbsentForABrokenSequence) {
  EXPECT_FALSE(essentialPNG(viewOf(png(1, 1, ""))));
  EXPECT_FALSE(essentialPNG(viewOf(png(1, 1, chunk("IDAT", "data")))));
  EXPECT_FALSE(essentialPNG(viewOf(png(1, 1, "\xFF\xFF\xFF\xFFIDATdatacrc."))));
  EXPECT_FALSE(essentialPNG(viewOf(png(1, 1, "\0\0"s))));
}

}  // namespace
}  // namespace quorl::test
