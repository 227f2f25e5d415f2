// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Icons/IconImage.h>

#include <algorithm>
#include <bit>

#include <png.h>

namespace quorl {

namespace {

// The simplified API of libpng. A decoder of libavcodec would read the pixels before the size can be refused.
constexpr png_uint_32 pngFormat =
    std::endian::native == std::endian::little ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;

struct Image : png_image {
  Image() : png_image{} { version = PNG_IMAGE_VERSION; }
  ~Image() { png_image_free(this); }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
};

bool isSide(std::uint32_t side) {
  return side >= 1 && side <= largestIconSide;
}

std::size_t areaOf(PixelSize size) {
  return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

/// The pixels of one line that a pixel of the scaled line covers, and how much of each.
struct Share {
  std::size_t first = 0;
  std::vector<std::uint64_t> weights;
};

// In units of which a source pixel has `target` and a target pixel has `source`, so that all numbers are
// whole and an opaque icon stays opaque.
std::vector<Share> sharesOf(int source, int target) {
  std::vector<Share> shares;
  for (int at = 0; at < target; ++at) {
    const int begin = at * source;
    const int end = begin + source;
    Share share{.first = static_cast<std::size_t>(begin / target), .weights = {}};
    for (int pixel = begin / target; pixel * target < end; ++pixel) {
      const int covered = std::min(end, (pixel + 1) * target) - std::max(begin, pixel * target);
      share.weights.push_back(static_cast<std::uint64_t>(covered));
    }
    shares.push_back(std::move(share));
  }
  return shares;
}

std::uint32_t averageOf(const IconImage& image, const Share& row, const Share& column) {
  std::uint64_t weight = 0, alpha = 0, red = 0, green = 0, blue = 0;
  const auto width = static_cast<std::size_t>(image.size.width);
  for (std::size_t y = 0; y < row.weights.size(); ++y) {
    for (std::size_t x = 0; x < column.weights.size(); ++x) {
      const std::uint32_t pixel = image.pixels[(row.first + y) * width + column.first + x];
      const std::uint64_t share = row.weights[y] * column.weights[x];
      const std::uint64_t opacity = share * (pixel >> 24);
      weight += share;
      alpha += opacity;
      red += opacity * (pixel >> 16 & 0xFF);
      green += opacity * (pixel >> 8 & 0xFF);
      blue += opacity * (pixel & 0xFF);
    }
  }
  if (alpha == 0) return 0;
  const auto rounded = [](std::uint64_t sum, std::uint64_t count) {
    return static_cast<std::uint32_t>((sum + count / 2) / count);
  };
  return rounded(alpha, weight) << 24 | rounded(red, alpha) << 16 | rounded(green, alpha) << 8 |
         rounded(blue, alpha);
}

}  // namespace

std::optional<IconImage> decodePNG(ByteView bytes) {
  Image png;
  if (png_image_begin_read_from_memory(&png, bytes.data(), bytes.size()) == 0) return std::nullopt;
  if (!isSide(png.width) || !isSide(png.height)) return std::nullopt;
  png.format = pngFormat;
  IconImage image{.size = {static_cast<int>(png.width), static_cast<int>(png.height)}, .pixels = {}};
  image.pixels.resize(areaOf(image.size));
  if (png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr) == 0) return std::nullopt;
  return image;
}

std::optional<Bytes> encodePNG(const IconImage& image) {
  Image png;
  png.width = static_cast<png_uint_32>(image.size.width);
  png.height = static_cast<png_uint_32>(image.size.height);
  png.format = pngFormat;
  png_alloc_size_t size = 0;
  if (png_image_write_to_memory(&png, nullptr, &size, 0, image.pixels.data(), 0, nullptr) == 0)
    return std::nullopt;
  Bytes bytes(size);
  if (png_image_write_to_memory(&png, bytes.data(), &size, 0, image.pixels.data(), 0, nullptr) == 0)
    return std::nullopt;
  bytes.resize(size);
  return bytes;
}

IconImage scaledToSquare(const IconImage& image, int side) {
  if (image.size == PixelSize{side, side}) return image;
  IconImage result{.size = {side, side}, .pixels = {}};
  result.pixels.reserve(areaOf(result.size));
  const auto columns = sharesOf(image.size.width, side);
  for (const auto& row : sharesOf(image.size.height, side))
    for (const auto& column : columns) result.pixels.push_back(averageOf(image, row, column));
  return result;
}

}  // namespace quorl
