// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// How the pixels of the display's visuals are stored, in terms of the RENDER extension. Read once.
class RenderFormats {
 public:
  struct Format {
    std::uint32_t id = 0;  // 0: the server cannot draw with it
    bool hasAlpha = false;
    bool isBGR = false;  // 32 bits: blue, green, red, and alpha or nothing
  };

  /// Waits for the server.
  explicit RenderFormats(X11Connection& connection);

  /// Without the extension windows cannot be drawn over one another.
  bool isPresent() const { return root_.id != 0; }
  Format ofRoot() const { return root_; }
  Format ofVisual(std::uint32_t visual) const;

  std::uint8_t rootDepth() const { return rootDepth_; }

 private:
  void read(X11Connection& connection);

  Format root_;
  std::uint8_t rootDepth_ = 0;
  std::map<std::uint32_t, Format> ofVisual_;
};

}  // namespace quorl
