// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <memory>
#include <string>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/X11/Capture/DamageMirror.h>
#include <QuorlHostLinux/X11/Capture/Scene.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>

namespace quorl {

/// A display, a window or an application that streams show, kept as one image and fetched once for all of
/// them.
///
/// *Queue*: the connection's thread.
/// *Lifetime*: ends before its connection. A failed operation means that what is shown has gone.
class CaptureSource {
 public:
  virtual ~CaptureSource() = default;

  /// Takes an event of the server, which may concern another source.
  virtual std::expected<void, PortError> handle(const void* event) = 0;
  virtual std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& monitors) = 0;

  /// Adapts to the events taken so far. Called after each batch of them, before any of the following.
  virtual std::expected<void, PortError> settle() { return {}; }
  /// False while there is nothing to show yet. Until then none of the following is called.
  virtual bool isShowing() const { return true; }

  virtual bool isDirty() const = 0;
  /// Requests the changed pixels and returns where they are, in the image's coordinates. The pixels may
  /// arrive later: the image waits for its rows.
  virtual DirtyRegion refresh() = 0;
  /// Waits for all requested pixels.
  virtual std::expected<void, PortError> finish() = 0;

  /// The part of the root that the image shows.
  virtual PixelRect area() const = 0;
  virtual SharedImage& image() = 0;
};

std::expected<std::unique_ptr<CaptureSource>, PortError> makeDisplaySource(X11Connection& connection,
                                                                           std::uint32_t displayID);
/// The display must have COMPOSITE and RENDER.
std::expected<std::unique_ptr<CaptureSource>, PortError> makeWindowSource(X11Connection& connection,
                                                                          std::shared_ptr<Scene> scene,
                                                                          std::uint32_t window);
std::expected<std::unique_ptr<CaptureSource>, PortError> makeApplicationSource(
    X11Connection& connection, std::shared_ptr<Scene> scene, const ApplicationFilter& filter);

}  // namespace quorl
