// SPDX-License-Identifier: GPL-3.0-or-later
#include "SyntheticScreen.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quorl::test {

namespace {

constexpr int glyphWidth = 8;
constexpr int glyphHeight = 14;
constexpr std::uint8_t paper = 235;
constexpr std::uint8_t ink = 30;

std::size_t area(PixelSize size) {
  return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

}  // namespace

DrawnPicture::DrawnPicture(PixelSize pictureSize)
    : lumaBytes_(area(pictureSize), paper), chromaBytes_(area(pictureSize) / 2, 128) {
  size = pictureSize;
  point();
}

DrawnPicture::DrawnPicture(const DrawnPicture& other)
    : PictureBuffer(), lumaBytes_(other.lumaBytes_), chromaBytes_(other.chromaBytes_) {
  size = other.size;
  point();
}

void DrawnPicture::point() {
  luma = lumaBytes_.data();
  chroma = chromaBytes_.data();
  lumaStride = static_cast<std::size_t>(size.width);
  chromaStride = lumaStride;
}

void DrawnPicture::fill(const PixelRect& rect, std::uint8_t y, std::uint8_t cb, std::uint8_t cr) {
  const int right = std::min(rect.x + rect.width, size.width);
  const int bottom = std::min(rect.y + rect.height, size.height);
  for (int row = std::max(rect.y, 0); row < bottom; ++row) {
    std::uint8_t* line = lumaBytes_.data() + static_cast<std::size_t>(row) * lumaStride;
    std::fill(line + std::max(rect.x, 0), line + std::max(right, rect.x), y);
  }
  for (int row = std::max(rect.y, 0) / 2; row < bottom / 2; ++row) {
    std::uint8_t* line = chromaBytes_.data() + static_cast<std::size_t>(row) * chromaStride;
    for (int column = std::max(rect.x, 0) / 2; column < right / 2; ++column) {
      line[2 * column] = cb;
      line[2 * column + 1] = cr;
    }
  }
}

std::vector<std::uint8_t> DrawnPicture::packed() const {
  std::vector<std::uint8_t> bytes(lumaBytes_);
  bytes.insert(bytes.end(), chromaBytes_.begin(), chromaBytes_.end());
  return bytes;
}

SyntheticScreen::SyntheticScreen(PixelSize size, std::uint32_t seed) : random_(seed), picture_(size) {
  redraw();
}

void SyntheticScreen::redraw() {
  const PixelSize size = picture_.size;
  picture_.fill({0, 0, size.width, size.height}, static_cast<std::uint8_t>(60 + random_() % 120), 110, 140);
  for (int window = 0; window < 4; ++window) {
    const auto pick = [&](int limit) {
      return static_cast<int>(random_() % static_cast<std::uint32_t>(std::max(limit, 1)));
    };
    const PixelRect frame{pick(size.width / 2) & ~1, pick(size.height / 2) & ~1, size.width / 2,
                          size.height / 2};
    picture_.fill(frame, paper, 128, 128);
    picture_.fill({frame.x, frame.y, frame.width, 22}, 90, 160, 110);
    const PixelRect inside{frame.x + 8, frame.y + 30, frame.width - 16, frame.height - 40};
    if (window == 1)
      drawPhotograph(inside);
    else
      drawText(inside);
  }
}

void SyntheticScreen::drawText(const PixelRect& textArea) {
  for (int y = textArea.y; y + glyphHeight < textArea.y + textArea.height; y += glyphHeight + 4) {
    const int length = static_cast<int>(random_() % 90U);
    for (int column = 0; column < length && (column + 2) * glyphWidth < textArea.width; ++column)
      if (random_() % 6 != 0) drawGlyph(textArea.x + column * glyphWidth, y);
  }
}

// Strokes of one or two pixels in a cell, with the soft edges of drawn type.
void SyntheticScreen::drawGlyph(int x, int y) {
  for (int stroke = 0; stroke < 3; ++stroke) {
    const bool isUpright = random_() % 2 == 0;
    const int at = static_cast<int>(random_() % 6U);
    const PixelRect line =
        isUpright ? PixelRect{x + at, y + 2, 2, glyphHeight - 4} : PixelRect{x + 1, y + 2 + at, 6, 1};
    picture_.fill(line, ink, 128, 128);
    picture_.fill({line.x + line.width, line.y, 1, line.height}, 150, 128, 128);
  }
}

void SyntheticScreen::drawPhotograph(const PixelRect& photo) {
  const double phase = static_cast<double>(random_() % 100U);
  for (int y = std::max(photo.y, 0); y < std::min(photo.y + photo.height, picture_.size.height); ++y) {
    for (int x = std::max(photo.x, 0); x < std::min(photo.x + photo.width, picture_.size.width); ++x) {
      const double wave = std::sin(x / 37.0 + phase) * std::cos(y / 23.0) + 0.3 * std::sin((x + y) / 5.0);
      const int grain = static_cast<int>(random_() % 9U) - 4;
      picture_.lumaBytes()[static_cast<std::size_t>(y) * picture_.lumaStride + static_cast<std::size_t>(x)] =
          static_cast<std::uint8_t>(std::clamp(126 + static_cast<int>(70 * wave) + grain, 16, 235));
    }
  }
  for (int y = photo.y / 2; y < std::min((photo.y + photo.height) / 2, picture_.size.height / 2); ++y)
    for (int x = photo.x / 2; x < std::min((photo.x + photo.width) / 2, picture_.size.width / 2); ++x) {
      std::uint8_t* pair = picture_.chromaBytes().data() +
                           static_cast<std::size_t>(y) * picture_.chromaStride +
                           static_cast<std::size_t>(2 * x);
      pair[0] = static_cast<std::uint8_t>(100 + (x * 60) / picture_.size.width);
      pair[1] = static_cast<std::uint8_t>(110 + (y * 60) / picture_.size.height);
    }
}

PixelRect SyntheticScreen::typeCharacter() {
  const int columns = std::max((picture_.size.width - 64) / glyphWidth, 1);
  const int rows = std::max((picture_.size.height - 64) / (glyphHeight + 4), 1);
  const int x = 32 + (typed_ % columns) * glyphWidth;
  const int y = 32 + (typed_ / columns % rows) * (glyphHeight + 4);
  ++typed_;
  const PixelRect cell{x & ~1, y & ~1, glyphWidth + 2, glyphHeight + 2};
  picture_.fill(cell, paper, 128, 128);
  drawGlyph(cell.x, cell.y);
  return cell;
}

void SyntheticScreen::scroll(int lines) {
  const auto moved = [](std::vector<std::uint8_t>& plane, std::size_t stride, int by) {
    const std::size_t shift = stride * static_cast<std::size_t>(by);
    const std::vector<std::uint8_t> top(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(shift));
    std::memmove(plane.data(), plane.data() + shift, plane.size() - shift);
    std::copy(top.begin(), top.end(), plane.end() - static_cast<std::ptrdiff_t>(shift));
  };
  moved(picture_.lumaBytes(), picture_.lumaStride, lines * 2);
  moved(picture_.chromaBytes(), picture_.chromaStride, lines);
}

void SyntheticScreen::makeNoise() {
  for (std::uint8_t& value : picture_.lumaBytes()) value = static_cast<std::uint8_t>(16 + random_() % 220U);
}

double lumaPSNR(const std::vector<std::uint8_t>& first, const std::vector<std::uint8_t>& second,
                PixelSize size) {
  const std::size_t count = area(size);
  if (first.size() < count || second.size() < count) return 0;
  double sum = 0;
  for (std::size_t index = 0; index < count; ++index) {
    const double difference = static_cast<double>(first[index]) - static_cast<double>(second[index]);
    sum += difference * difference;
  }
  if (sum == 0) return 99;
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(count) / sum);
}

}  // namespace quorl::test
