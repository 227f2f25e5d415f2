// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace quorl::viewer {

/// Keeps a buffer's level at its target by stretching the sound, when the clocks of sender and output differ.
/// A proportional and integral control of the smoothed level: a step dies away in some ten seconds without
/// overshooting audibly, and a constant drift leaves no error.
///
/// *Queue*: a value. Pure. Levels are milliseconds.
class DriftControl {
 public:
  /// Not audible as a change of pitch.
  static constexpr double mostStretch = 2'000;  // parts per million

  /// A level was measured `seconds` after the last one. Returns the stretch in parts per million.
  int update(double level, double target, double seconds) {
    smoothed_ += (level - target - smoothed_) * std::min(1.0, seconds / smoothing);
    drift_ = std::clamp(drift_ - smoothed_ * seconds * integral, -mostStretch, mostStretch);
    return static_cast<int>(std::clamp(drift_ - smoothed_ * proportional, -mostStretch, mostStretch));
  }
  /// The level jumped to its target; what is known of the drift stays.
  void settle() { smoothed_ = 0; }

  double error() const { return smoothed_; }

 private:
  static constexpr double smoothing = 2;       // seconds
  static constexpr double proportional = 100;  // parts per million and millisecond
  static constexpr double integral = 2;        // parts per million, millisecond and second

  double smoothed_ = 0;
  double drift_ = 0;
};

}  // namespace quorl::viewer
