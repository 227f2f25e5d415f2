// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include <QuorlHostLinux/X11/Capture/Scene.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

/// The ordinary windows of a process, kept up to date by the server's events.
///
/// *Queue*: the connection's thread.
/// *Lifetime*: ends before its connection and the scene.
class ApplicationWindows {
 public:
  ApplicationWindows(X11Connection& connection, Scene& scene, std::int32_t pid)
      : connection_(connection), scene_(scene), pid_(pid) {}
  ~ApplicationWindows() { unwatch(); }
  ApplicationWindows(const ApplicationWindows&) = delete;
  ApplicationWindows& operator=(const ApplicationWindows&) = delete;

  /// Takes any event of the server, after the scene. True if `area` may have changed.
  bool handle(const void* event);

  /// The union of those on the screen as the person sees them, on the root; empty without one. Waits for the
  /// server when windows have come, gone or changed; not when they have moved.
  PixelRect area();

  /// Whether this is one of the windows, as of the last `area`.
  bool contains(std::uint32_t window) const;

 private:
  bool isStale() const;
  void read();
  void unwatch();

  X11Connection& connection_;
  Scene& scene_;
  std::int32_t pid_;
  std::vector<CatalogWindow> windows_;
  std::uint64_t membership_ = 0;  // of the scene's windows when these were read; 0: to be read
};

}  // namespace quorl
