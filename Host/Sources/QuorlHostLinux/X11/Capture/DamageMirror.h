// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Keeps an image of an area of a drawable, fetching only what the server says has changed.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the server's damage object and region, and the image.
/// *Lifetime*: ends before its connection.
class DamageMirror {
 public:
  /// Changes are watched on `watched`, a window.
  DamageMirror(X11Connection& connection, std::uint32_t watched);
  ~DamageMirror();
  DamageMirror(const DamageMirror&) = delete;
  DamageMirror& operator=(const DamageMirror&) = delete;

  /// Reads from now on `area` of `drawable`, whose origin is that of the watched window; all of it is dirty.
  std::expected<void, PortError> show(std::uint32_t drawable, const PixelRect& area);

  /// Notes a damage event; false when it is not about the watched window.
  bool handle(const void* event);

  bool isDirty() const { return isWholeDirty_ || !reported_.isEmpty(); }

  /// Asks for what has changed and says what that is, in the image's coordinates. The pixels may still be on
  /// their way: the image tells when its rows have arrived.
  DirtyRegion refresh();
  /// Waits until all of it has arrived.
  std::expected<void, PortError> finish();

  SharedImage& image() { return *image_; }

 private:
  DirtyRegion takeDamage();
  DirtyRegion fetchDamage();

  X11Connection& connection_;
  std::uint32_t damage_ = 0;
  std::uint32_t region_ = 0;
  std::uint32_t drawable_ = 0;
  PixelRect area_;
  PixelRect reported_;  // around all changes since the last refresh, in the drawable's coordinates
  bool isWholeDirty_ = true;
  std::unique_ptr<SharedImage> image_;
};

}  // namespace quorl
