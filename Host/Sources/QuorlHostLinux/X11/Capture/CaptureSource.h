// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <memory>
#include <string>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/X11/Capture/DamageMirror.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

/// What several streams may show at once: kept as one image, fetched once for all of them.
///
/// *Queue*: the connection's thread.
/// *Lifetime*: ends before its connection. A failed operation means that what is shown has gone.
class CaptureSource {
 public:
  virtual ~CaptureSource() = default;

  /// Notes an event of the server, its own or another's.
  virtual std::expected<void, PortError> handle(const void* event) = 0;
  virtual std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& monitors) = 0;

  virtual bool isDirty() const = 0;
  /// Asks for what has changed and says what that is, in the image's coordinates. The pixels may still be on
  /// their way: the image tells when its rows have arrived.
  virtual DirtyRegion refresh() = 0;
  /// Waits until all of it has arrived.
  virtual std::expected<void, PortError> finish() = 0;

  /// What the image shows of the root.
  virtual PixelRect area() const = 0;
  virtual SharedImage& image() = 0;
};

/// X has no picture of several windows together.
PortError noApplicationCapture();

std::expected<std::unique_ptr<CaptureSource>, PortError> makeDisplaySource(X11Connection& connection,
                                                                           std::uint32_t displayID);
std::expected<std::unique_ptr<CaptureSource>, PortError> makeWindowSource(X11Connection& connection,
                                                                          std::uint32_t window);

}  // namespace quorl
