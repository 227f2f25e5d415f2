// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The pointer's image and position. Images of the screen do not contain it.
///
/// *Queue*: the connection's thread.
class CursorOverlay {
 public:
  /// Takes an event that concerns the cursor. False for any other.
  bool handle(const void* event, const X11Connection& connection);

  /// Selects the events of new cursor images and of pointer motion, or removes the selection.
  ///
  /// No event reports a warp (XWarpPointer) inside a window that takes the motion itself: only a query finds
  /// the new position.
  void select(X11Connection& connection);
  void unselect(X11Connection& connection);

  bool mayHaveChanged() const { return isMoved_ || isNewImage_; }
  /// Sends the query for the position, and for the image if it may have changed. Does not wait.
  void request(X11Connection& connection);
  /// Waits for the reply to `request`. Without a request, does nothing.
  void receive(X11Connection& connection);

  /// Where the image lies on the root; empty when nothing of it can be seen.
  PixelRect bounds() const { return bounds_; }
  /// Increases with every visible change.
  std::uint64_t generation() const { return generation_; }

  /// Draws the image into the pixels of `area` of the root (blue, green, red, unused), and keeps the pixels
  /// under it for `takeOff`.
  void putOn(std::uint8_t* pixels, std::size_t stride, const PixelRect& area);
  void takeOff();

 private:
  enum class Query : std::uint8_t { none, position, image };

  void readImage(X11Connection& connection);
  void readPosition(X11Connection& connection);

  Query query_ = Query::none;
  unsigned sequence_ = 0;  // of the query
  bool isMoved_ = true;
  bool isNewImage_ = true;
  std::uint64_t generation_ = 1;
  int x_ = 0;  // the pointer, on the root
  int y_ = 0;
  int hotX_ = 0;
  int hotY_ = 0;
  PixelSize imageSize_;
  std::vector<std::uint32_t> image_;  // premultiplied ARGB
  PixelRect bounds_;

  std::vector<std::uint32_t> kept_;
  PixelRect keptRect_;  // in the pixels given to putOn
  std::uint8_t* keptPixels_ = nullptr;
  std::size_t keptStride_ = 0;
};

/// `over` is premultiplied ARGB; `under` is opaque, and so is the result.
std::uint32_t blendOver(std::uint32_t over, std::uint32_t under);

}  // namespace quorl
