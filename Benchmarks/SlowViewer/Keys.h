// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include "../Support/Viewer.h"

namespace quorl::bench {

/// A program that answers each key with a new colour of its window, a block of 64x64 pixels in the part of
/// the screen that the motion leaves alone.
///
/// *Queue*: a thread of its own reads keys; the rest is called by one thread.
class KeyBlock {
 public:
  /// Takes the keyboard focus. Create it after the other windows, so that it is on top.
  explicit KeyBlock(const std::string& display);
  KeyBlock(const KeyBlock&) = delete;
  KeyBlock& operator=(const KeyBlock&) = delete;
  ~KeyBlock();

  /// What it shows after the next key.
  Probe prepare();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A finger on the keyboard of a display.
class Finger {
 public:
  explicit Finger(const std::string& display);
  Finger(const Finger&) = delete;
  Finger& operator=(const Finger&) = delete;
  ~Finger();

  /// Presses and releases a letter's key, and returns the time just before.
  Clock::time_point press();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl::bench
