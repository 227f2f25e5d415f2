// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <vector>

#include <QuorlHostLinux/X11/X11Connection.h>

namespace quorl {

/// A copy of a drawable's pixels (blue, green, red, unused; rows from the top), filled rectangle by
/// rectangle. The server writes straight into it where it can (MIT-SHM 1.2 with a memory descriptor), else
/// pixels come over the connection.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the memory and the server's segment.
/// *Lifetime*: ends before its connection.
class SharedImage {
 public:
  static std::expected<std::unique_ptr<SharedImage>, PortError> make(X11Connection& connection,
                                                                     PixelSize size);
  ~SharedImage();
  SharedImage(const SharedImage&) = delete;
  SharedImage& operator=(const SharedImage&) = delete;

  /// Fetches `rects` of the image, whose origin lies at `x`, `y` of `drawable`. All must lie in the image and
  /// in the drawable. Waits for the server, once for all of them.
  std::expected<void, PortError> grab(std::uint32_t drawable, int x, int y, std::span<const PixelRect> rects);

  PixelSize size() const { return size_; }
  /// One row beyond the last may be read.
  std::uint8_t* pixels() const { return memory_; }
  std::size_t stride() const { return static_cast<std::size_t>(size_.width) * bytesPerPixel; }

  static constexpr std::size_t bytesPerPixel = 4;

 private:
  struct Piece {
    PixelRect rect;
    std::size_t offset;  // in the segment
    bool inPlace;        // whole rows land where they belong; others are copied there
    unsigned sequence;
  };

  SharedImage(X11Connection& connection, PixelSize size) : connection_(connection), size_(size) {}
  std::expected<void, PortError> allocate();
  std::vector<Piece> layOut(std::span<const PixelRect> rects) const;
  std::expected<void, PortError> grabOverConnection(std::uint32_t drawable, int x, int y,
                                                    std::span<const PixelRect> rects);
  void copyRows(const PixelRect& rect, const std::uint8_t* from);

  X11Connection& connection_;
  PixelSize size_;
  std::uint8_t* memory_ = nullptr;
  std::size_t length_ = 0;
  std::size_t scratch_ = 0;    // where pieces that are copied land first
  std::uint32_t segment_ = 0;  // the server's name for the memory; 0: not shared
};

}  // namespace quorl
