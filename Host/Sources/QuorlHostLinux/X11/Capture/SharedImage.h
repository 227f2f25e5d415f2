// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <vector>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// A copy of a drawable's pixels (blue, green, red, unused; rows from the top), filled rectangle by
/// rectangle. The server writes into it directly if it can (MIT-SHM 1.2 with a memory descriptor). Otherwise
/// pixels come over the connection.
///
/// Large rectangles arrive in bands from the top, so that the first can be used while the server copies the
/// others.
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

  /// Requests `rects` of the image, whose origin is at `x`, `y` of `drawable`. All must be inside the image
  /// and the drawable. Through shared memory they show one moment. No earlier request may be pending.
  void request(std::uint32_t drawable, int x, int y, std::span<const PixelRect> rects);
  /// Waits for all requested rows above `bottom`.
  void awaitRows(int bottom);
  /// Waits for everything requested. An error when a part of it could not be read.
  std::expected<void, PortError> awaitAll();

  PixelSize size() const { return size_; }
  /// The memory holds one more row, which may be read.
  std::uint8_t* pixels() const { return memory_; }
  std::size_t stride() const { return static_cast<std::size_t>(size_.width) * bytesPerPixel; }

  static constexpr std::size_t bytesPerPixel = 4;

 private:
  struct Piece {
    PixelRect rect;
    std::size_t offset;  // in the segment
    bool inPlace;        // whole rows arrive in place; others are copied
    unsigned sequence = 0;
  };

  SharedImage(X11Connection& connection, PixelSize size) : connection_(connection), size_(size) {}
  std::expected<void, PortError> allocate();
  std::vector<Piece> layOut(std::span<const PixelRect> rects) const;
  void addBands(std::vector<Piece>& pieces, const PixelRect& rect) const;
  void receive(const Piece& piece);
  bool copyOverConnection(std::uint32_t drawable, int x, int y, const PixelRect& rect);
  void copyRows(const PixelRect& rect, const std::uint8_t* from);

  X11Connection& connection_;
  PixelSize size_;
  std::uint8_t* memory_ = nullptr;
  std::size_t length_ = 0;
  std::size_t scratch_ = 0;    // offset where pieces that are copied arrive
  std::uint32_t segment_ = 0;  // the server's ID of the memory; 0: not shared

  std::vector<Piece> arriving_;  // from the top
  std::size_t arrived_ = 0;      // how many of these have arrived
  bool isComplete_ = true;
};

}  // namespace quorl
