// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>

#include <QuorlHostLinux/X11/Capture/DamageWatch.h>
#include <QuorlHostLinux/X11/Capture/RenderFormats.h>
#include <QuorlHostLinux/X11/Capture/TopLevels.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The pixels of one child of the root, including parts that others cover: the server draws it into a pixmap
/// (COMPOSITE, automatic redirection). While the window is not mapped, the last pixmap stays.
///
/// *Queue*: the connection's thread.
/// *Ownership*: owns the redirection, the pixmap, the damage watch.
/// *Lifetime*: ends before its connection; may outlive the window.
class WindowLayer {
 public:
  /// `covers` are the windows that lie over it now.
  WindowLayer(X11Connection& connection, const TopLevel& window, RenderFormats::Format format,
              std::span<const TopLevel> covers);
  ~WindowLayer();
  WindowLayer(const WindowLayer&) = delete;
  WindowLayer& operator=(const WindowLayer&) = delete;

  std::uint32_t window() const { return window_; }

  /// Takes a damage event. False for any other event or window.
  bool handle(const void* event) { return damage_.handle(event); }
  bool isDamaged() const { return damage_.hasChanges(); }
  /// As `DamageWatch::take`.
  DirtyRegion takeDamage();

  /// Takes the pixmap that the window has now. Waits for the server. False when it has none: the last stays.
  bool renew(int borderWidth);

  /// Of the pixmap, borders included; 0 x 0 when there was none yet.
  PixelSize size() const { return size_; }
  int borderWidth() const { return borderWidth_; }
  std::uint32_t pixmap() const { return pixmap_; }
  RenderFormats::Format format() const { return format_; }
  /// True when the window does not fill its rectangle (SHAPE). The pixmap has other windows' pixels outside
  /// of it.
  bool isShaped() const { return isShaped_; }
  /// The window's form as an XFIXES region, in the window's coordinates.
  std::uint32_t shape() const { return shape_; }
  /// Where the window has not drawn since the redirection: an XFIXES region in the window's coordinates, or 0
  /// when there is none. There the pixmap has the pixels of the windows that covered it.
  std::uint32_t foreign() const { return foreign_; }
  /// The pixmap as a source for RENDER.
  std::uint32_t picture();

 private:
  void redirect(const TopLevel& window, std::span<const TopLevel> covers);
  void release();

  X11Connection& connection_;
  std::uint32_t window_;
  RenderFormats::Format format_;
  DamageWatch damage_;
  std::uint32_t pixmap_ = 0;
  std::uint32_t picture_ = 0;
  std::uint32_t shape_ = 0;
  bool isShaped_ = false;
  std::uint32_t foreign_ = 0;
  PixelSize size_;
  int borderWidth_ = 0;
};

}  // namespace quorl
