// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// What has changed in a window, as the server reports it.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the server's damage object and region.
/// *Lifetime*: ends before its connection; may outlive the window.
class DamageWatch {
 public:
  DamageWatch(X11Connection& connection, std::uint32_t window);
  ~DamageWatch();
  DamageWatch(const DamageWatch&) = delete;
  DamageWatch& operator=(const DamageWatch&) = delete;

  /// Takes a damage event. False for any other event or window.
  bool handle(const void* event);
  bool hasChanges() const { return !reported_.isEmpty(); }

  /// Clears the changes and returns them, in the window's coordinates (without its border). A change that
  /// follows is reported again, so pixels requested later miss none. Waits for the server if the changes are
  /// large.
  DirtyRegion take();
  /// As `take`, and removes the changes from an XFIXES region too.
  DirtyRegion takeFrom(std::uint32_t region);
  /// Clears the changes.
  void skip();

 private:
  DirtyRegion fetch();

  X11Connection& connection_;
  std::uint32_t damage_ = 0;
  std::uint32_t region_ = 0;
  PixelRect reported_;  // around all changes
};

}  // namespace quorl
