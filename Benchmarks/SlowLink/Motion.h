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

/// Footage that fills the screen but for one corner, 30 pictures a second: a richly textured surface that
/// pans on a circle by some 16 pixels a picture and turns a little, with new grain in each picture, as a
/// hand-held camera gives. Little of it can be predicted from the picture before. A loop of 16 pictures.
class Motion {
 public:
  static constexpr int picturesPerSecond = 30;

  /// Draws from now on, on a thread of its own, until destroyed.
  explicit Motion(const std::string& display);
  Motion(const Motion&) = delete;
  Motion& operator=(const Motion&) = delete;
  ~Motion();

  /// Pictures drawn so far. Fewer than 30 a second are drawn where the machine is busy with something else.
  std::uint64_t drawn() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A block in the free corner that takes a new colour on request.
class ProbeBlock {
 public:
  /// After the motion, so that its window is above.
  explicit ProbeBlock(const std::string& display);
  ProbeBlock(const ProbeBlock&) = delete;
  ProbeBlock& operator=(const ProbeBlock&) = delete;
  ~ProbeBlock();

  /// What the next `draw` will show.
  Probe prepare();
  /// Sends the request; the time just before.
  Clock::time_point draw();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl::bench
