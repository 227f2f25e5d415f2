// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "../Support/Viewer.h"

namespace quorl::bench {

/// The part of the screen that the motion leaves alone: its top right corner.
struct FreeCorner {
  static constexpr int width = 320;
  static constexpr int height = 240;
};

/// Footage that fills the screen except one corner, at 30 pictures a second: a richly textured surface that
/// pans in a circle by about 16 pixels per picture and turns a little, with new grain in each picture, like
/// the footage of a hand-held camera. Little of it can be predicted from the previous picture. A loop of 16
/// pictures.
class Motion {
 public:
  static constexpr int picturesPerSecond = 30;

  /// Draws on its own thread until destroyed.
  explicit Motion(const std::string& display);
  Motion(const Motion&) = delete;
  Motion& operator=(const Motion&) = delete;
  ~Motion();

  /// Pictures drawn so far; fewer than 30 a second if the machine is busy.
  std::uint64_t drawn() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A block in the free corner that changes its colour on request.
class ProbeBlock {
 public:
  /// Create it after the motion, so that its window is on top.
  explicit ProbeBlock(const std::string& display);
  ProbeBlock(const ProbeBlock&) = delete;
  ProbeBlock& operator=(const ProbeBlock&) = delete;
  ~ProbeBlock();

  /// What the next `draw` will show.
  Probe prepare();
  /// Sends the request and returns the time just before.
  Clock::time_point draw();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl::bench
