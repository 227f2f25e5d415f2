// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <memory>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Capture/DamageWatch.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Keeps an image of an area of a drawable, and fetches only what the server reports as changed.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the damage watch and the image.
/// *Lifetime*: ends before its connection.
class DamageMirror {
 public:
  /// Watches the window `watched` for changes.
  DamageMirror(X11Connection& connection, std::uint32_t watched);

  /// Shows `area` of `drawable`, whose origin is that of the watched window. All of it becomes dirty.
  std::expected<void, PortError> show(std::uint32_t drawable, const PixelRect& area);

  /// Takes a damage event. False for any other event or window.
  bool handle(const void* event) { return damage_.handle(event); }

  bool isDirty() const { return isWholeDirty_ || damage_.hasChanges(); }

  /// Requests the changed pixels and returns where they are, in the image's coordinates. The pixels may
  /// arrive later: the image waits for its rows.
  DirtyRegion refresh();
  /// Waits for all requested pixels.
  std::expected<void, PortError> finish();

  SharedImage& image() { return *image_; }

 private:
  DirtyRegion takeDamage();

  X11Connection& connection_;
  DamageWatch damage_;
  std::uint32_t drawable_ = 0;
  PixelRect area_;
  bool isWholeDirty_ = true;
  std::unique_ptr<SharedImage> image_;
};

}  // namespace quorl
