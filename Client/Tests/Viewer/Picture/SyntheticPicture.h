// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include <quorl-client/Video/PicturePlanes.h>

namespace quorl::viewer::test {

/// A picture made of samples in memory. Samples are set as 8 bits; wider formats get them shifted.
class SyntheticPicture {
 public:
  SyntheticPicture(client::PlaneFormat format, PixelSize size,
                   client::ColourMatrix matrix = client::ColourMatrix::bt601,
                   client::ColourRange range = client::ColourRange::limited)
      : format_(format), size_(size), matrix_(matrix), range_(range) {
    const auto chroma = chromaSize();
    luma_.resize(area(size));
    blue_.resize(area(chroma), 128);
    red_.resize(area(chroma), 128);
  }

  std::uint8_t& luma(int x, int y) { return luma_[index(size_, x, y)]; }
  std::uint8_t& blueDifference(int x, int y) { return blue_[index(chromaSize(), x / 2, y / 2)]; }
  std::uint8_t& redDifference(int x, int y) { return red_[index(chromaSize(), x / 2, y / 2)]; }

  /// Samples without a pattern that a scaler could meet by chance.
  void fillWithNoise() {
    std::uint32_t state = 1;
    for (auto* plane : {&luma_, &blue_, &red_})
      for (auto& sample : *plane) {
        state = state * 1'664'525 + 1'013'904'223;
        sample = static_cast<std::uint8_t>(16 + (state >> 24U) * 219 / 255);
      }
  }

  /// Valid until the next call or change.
  client::PicturePlanes planes() {
    const bool isWide = format_ == client::PlaneFormat::i010 || format_ == client::PlaneFormat::p010;
    const bool isInterleaved = format_ == client::PlaneFormat::nv12 || format_ == client::PlaneFormat::p010;
    const int sampleSize = isWide ? 2 : 1;
    client::PicturePlanes result{.format = format_, .matrix = matrix_, .range = range_, .size = size_};
    const auto put = [&](std::size_t plane, const std::vector<std::uint8_t>& samples, int rowSamples) {
      stored_[plane] = isWide ? widened(samples) : samples;
      result.planes[plane] = stored_[plane].data();
      result.strides[plane] = rowSamples * sampleSize;
    };
    put(0, luma_, size_.width);
    if (!isInterleaved) {
      put(1, blue_, chromaSize().width);
      put(2, red_, chromaSize().width);
      return result;
    }
    std::vector<std::uint8_t> both;
    for (std::size_t at = 0; at < blue_.size(); ++at) both.insert(both.end(), {blue_[at], red_[at]});
    put(1, both, 2 * chromaSize().width);
    return result;
  }

 private:
  PixelSize chromaSize() const { return {(size_.width + 1) / 2, (size_.height + 1) / 2}; }
  static std::size_t area(PixelSize size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  }
  static std::size_t index(PixelSize size, int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) + static_cast<std::size_t>(x);
  }
  std::vector<std::uint8_t> widened(const std::vector<std::uint8_t>& samples) const {
    std::vector<std::uint8_t> bytes;
    const int shift = format_ == client::PlaneFormat::i010 ? 2 : 8;
    for (const auto sample : samples) {
      const auto wide = static_cast<std::uint16_t>(sample << shift);
      std::uint8_t pair[2];
      std::memcpy(pair, &wide, 2);
      bytes.insert(bytes.end(), {pair[0], pair[1]});
    }
    return bytes;
  }

  client::PlaneFormat format_;
  PixelSize size_;
  client::ColourMatrix matrix_;
  client::ColourRange range_;
  std::vector<std::uint8_t> luma_;
  std::vector<std::uint8_t> blue_;
  std::vector<std::uint8_t> red_;
  std::vector<std::uint8_t> stored_[3];
};

}  // namespace quorl::viewer::test
