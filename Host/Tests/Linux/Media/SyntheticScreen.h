// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl::test {

/// A picture with its own memory, which a test may draw into.
class DrawnPicture : public PictureBuffer {
 public:
  explicit DrawnPicture(PixelSize pictureSize);
  DrawnPicture(const DrawnPicture& other);
  DrawnPicture& operator=(const DrawnPicture&) = delete;

  void fill(const PixelRect& rect, std::uint8_t y, std::uint8_t cb, std::uint8_t cr);
  std::vector<std::uint8_t>& lumaBytes() { return lumaBytes_; }
  std::vector<std::uint8_t>& chromaBytes() { return chromaBytes_; }
  /// Both planes, one after the other, without padding.
  std::vector<std::uint8_t> packed() const;

 private:
  void point();

  std::vector<std::uint8_t> lumaBytes_;
  std::vector<std::uint8_t> chromaBytes_;
};

/// Draws the content of a desktop, the same for the same seed: windows, lines of text, a gradient, a
/// photograph.
class SyntheticScreen {
 public:
  explicit SyntheticScreen(PixelSize size, std::uint32_t seed = 1);

  std::shared_ptr<const DrawnPicture> picture() const { return std::make_shared<DrawnPicture>(picture_); }

  /// Draws the next character of a text, as typing does. Returns the changed rectangle.
  PixelRect typeCharacter();
  /// Moves everything up by some lines, as scrolling does.
  void scroll(int lines);
  /// New content everywhere.
  void redraw();
  /// Noise of one strength over the whole picture, which no encoder compresses well.
  void makeNoise();

 private:
  void drawText(const PixelRect& area);
  void drawGlyph(int x, int y);
  void drawPhotograph(const PixelRect& area);

  std::mt19937 random_;
  DrawnPicture picture_;
  int typed_ = 0;
};

/// The similarity of the luma of two pictures in decibels; 99 for equal ones.
double lumaPSNR(const std::vector<std::uint8_t>& first, const std::vector<std::uint8_t>& second,
                PixelSize size);

}  // namespace quorl::test
