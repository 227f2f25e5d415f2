// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/ImageFiles.h>

#include <sys/resource.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(const std::filesystem::path& path, ByteView bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// Writes TIFF files, field by field, in either byte order.
class TiffWriter {
 public:
  enum class Order { little, big };
  explicit TiffWriter(Order order = Order::little) : order_(order) {
    bytes_ = order == Order::little ? bytesOf("II") : bytesOf("MM");
    put16(42);
    put32(8);
  }

  /// An uncompressed RGB picture (or with `samples` of 8 bits) in one strip.
  static Bytes picture(std::uint32_t width, std::uint32_t height, std::uint16_t samples, const Bytes& pixels,
                       Order order = Order::little) {
    TiffWriter writer(order);
    const std::uint16_t photometric = samples >= 3 ? 2 : 1;
    const std::uint16_t fields = samples == 4 ? 10 : 9;
    writer.put16(fields);
    const std::uint32_t bitsAt = 8 + 2 + 12U * fields + 4;
    writer.field(256, 4, 1, width);
    writer.field(257, 4, 1, height);
    if (samples > 2) {
      writer.field(258, 3, samples, bitsAt);
    } else {
      writer.field(258, 3, 1, 8);
    }
    writer.field(259, 3, 1, 1);
    writer.field(262, 3, 1, photometric);
    writer.field(273, 4, 1, bitsAt + 8);
    writer.field(277, 3, 1, samples);
    writer.field(278, 4, 1, height);
    writer.field(279, 4, 1, static_cast<std::uint32_t>(pixels.size()));
    if (samples == 4) writer.field(338, 3, 1, 2);
    writer.put32(0);
    for (int i = 0; i < 4; ++i) writer.put16(8);
    writer.bytes_.insert(writer.bytes_.end(), pixels.begin(), pixels.end());
    return writer.bytes_;
  }

 private:
  void put16(std::uint16_t value) {
    const auto low = static_cast<std::uint8_t>(value);
    const auto high = static_cast<std::uint8_t>(value >> 8);
    bytes_.push_back(order_ == Order::little ? low : high);
    bytes_.push_back(order_ == Order::little ? high : low);
  }
  void put32(std::uint32_t value) {
    const auto low = static_cast<std::uint16_t>(value);
    const auto high = static_cast<std::uint16_t>(value >> 16);
    put16(order_ == Order::little ? low : high);
    put16(order_ == Order::little ? high : low);
  }
  void field(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
    put16(tag);
    put16(type);
    put32(count);
    constexpr std::uint16_t shortType = 3;
    if (type == shortType && count == 1) {
      put16(static_cast<std::uint16_t>(value));
      put16(0);
    } else {
      put32(value);
    }
  }

  Order order_;
  Bytes bytes_;
};

/// The pixels of a PNG, decoded by the ffmpeg program.
Bytes pixelsOf(const Bytes& png, const std::string& format) {
  const TemporaryFolder folder;
  const auto in = folder.path() / "in.png";
  const auto out = folder.path() / "out.raw";
  writeFile(in, png);
  const std::string command =
      "ffmpeg -v error -i " + in.string() + " -f rawvideo -pix_fmt " + format + " " + out.string();
  EXPECT_EQ(std::system(command.c_str()), 0);
  return readFile(out);
}

/// A TIFF made by the ffmpeg program from a test picture.
Bytes tiffByProgram(const std::string& options) {
  const TemporaryFolder folder;
  const auto out = folder.path() / "out.tiff";
  const std::string command =
      "ffmpeg -v error -f lavfi -i testsrc=size=64x48 -frames:v 1 " + options + " " + out.string();
  EXPECT_EQ(std::system(command.c_str()), 0);
  return readFile(out);
}

const Bytes sixPixels{255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3, 4, 5, 6, 7, 8, 9};

TEST(ImageFiles, aTIFFBecomesAPNGWithTheSamePixels) {
  for (const auto order : {TiffWriter::Order::little, TiffWriter::Order::big}) {
    const auto png = ImageFiles().pngFromTIFF(TiffWriter::picture(3, 2, 3, sixPixels, order));
    ASSERT_TRUE(png);
    EXPECT_EQ(pixelsOf(*png, "rgb24"), sixPixels);
  }
}

TEST(ImageFiles, transparencyAndGreyAreKept) {
  const Bytes rgba{255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0, 9, 8, 7, 6};
  const auto transparent = ImageFiles().pngFromTIFF(TiffWriter::picture(2, 2, 4, rgba));
  ASSERT_TRUE(transparent);
  EXPECT_EQ(pixelsOf(*transparent, "rgba"), rgba);
  const Bytes grey{0, 50, 100, 255};
  const auto picture = ImageFiles().pngFromTIFF(TiffWriter::picture(2, 2, 1, grey));
  ASSERT_TRUE(picture);
  EXPECT_EQ(pixelsOf(*picture, "gray"), grey);
}

TEST(ImageFiles, theCompressionsAndPixelFormatsOfOtherProgramsAreRead) {
  const Bytes expected = pixelsOf(
      ImageFiles().pngFromTIFF(tiffByProgram("-pix_fmt rgb24 -compression_algo raw")).value_or(Bytes()),
      "rgb24");
  ASSERT_EQ(expected.size(), 64U * 48U * 3U);
  for (const std::string compression : {"packbits", "lzw", "deflate"}) {
    const auto png =
        ImageFiles().pngFromTIFF(tiffByProgram("-pix_fmt rgb24 -compression_algo " + compression));
    ASSERT_TRUE(png) << compression;
    EXPECT_EQ(pixelsOf(*png, "rgb24"), expected) << compression;
  }
  for (const std::string format : {"rgb48le", "rgba", "gray", "gray16le", "pal8", "monob", "monow", "ya8",
                                   "rgba64le", "yuv420p", "yuv444p"}) {
    const auto png = ImageFiles().pngFromTIFF(tiffByProgram("-pix_fmt " + format));
    ASSERT_TRUE(png) << format;
    EXPECT_EQ(pixelsOf(*png, "rgb24").size(), expected.size()) << format;
  }
}

TEST(ImageFiles, bytesThatAreNoTIFFGiveNothing) {
  for (const std::string_view text : {"", "I", "II*", "MM", "no picture", "\x89PNG\r\n\x1A\n"})
    EXPECT_FALSE(ImageFiles().pngFromTIFF(viewOf(text))) << text;
}

TEST(ImageFiles, aTIFFThatIsCutOffGivesNothingOrAPicture) {
  const Bytes whole = tiffByProgram("-pix_fmt rgb24 -compression_algo lzw");
  for (std::size_t size = 0; size < whole.size(); size += 97) {
    const auto png = ImageFiles().pngFromTIFF(ByteView(whole).first(size));
    EXPECT_FALSE(png && size < 100) << size;
  }
}

TEST(ImageFiles, aFileThatNamesMorePixelsThanTheLimitGivesNothingAndTakesNoMemory) {
  rusage before{};
  ::getrusage(RUSAGE_SELF, &before);
  for (const auto& [width, height] : {std::pair{65'535U, 65'535U},
                                      {0xFFFFFFFFU, 1U},
                                      {1U, 0xFFFFFFFFU},
                                      {0U, 5U},
                                      {8'192U, 4'097U},
                                      {40'000U, 2U}})
    EXPECT_FALSE(ImageFiles().pngFromTIFF(TiffWriter::picture(width, height, 3, sixPixels)))
        << width << " x " << height;
  rusage after{};
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 50'000) << "in KiB";
}

TEST(ImageFiles, changedBytesNeverEndTheProgram) {
  const Bytes whole = tiffByProgram("-pix_fmt rgb24 -compression_algo deflate");
  std::mt19937 random(1);
  int pictures = 0;
  for (int round = 0; round < 300; ++round) {
    Bytes changed = whole;
    for (int i = 0; i < 4; ++i) changed[random() % changed.size()] = static_cast<std::uint8_t>(random());
    if (ImageFiles().pngFromTIFF(changed)) ++pictures;
  }
  EXPECT_GT(pictures, 0);
  EXPECT_LT(pictures, 301);
}

}  // namespace
}  // namespace quorl::test
