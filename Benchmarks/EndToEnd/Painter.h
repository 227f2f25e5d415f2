// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "../Support/Viewer.h"

namespace quorl::bench {

/// Draws on a full-screen window without a window manager and returns the probes that a viewer must then see.
class Painter {
 public:
  explicit Painter(const std::string& display);
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;
  ~Painter();

  int width() const;
  int height() const;
  std::uint32_t window() const;

  /// Hides the window under another one, or shows it again.
  void cover();
  void uncover();

  /// The probes that each draw will show; arm a viewer with them before `commit` sends the request.
  std::vector<Probe> prepareBlock(int side);
  /// A character of a line that is being typed.
  std::vector<Probe> prepareGlyph(int position);
  std::vector<Probe> prepareFlat();
  std::vector<Probe> preparePicture();
  /// Sends the prepared request and returns the time just before.
  Clock::time_point commit();

  /// Draws one picture of a full-screen animation.
  void animate(int step);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl::bench
