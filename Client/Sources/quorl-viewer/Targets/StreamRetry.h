// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>

namespace quorl::viewer {

/// When a target that could not be shown is tried again: after 2, 4, 8 .. 30 s, and from the start once it
/// was shown.
///
/// *Queue*: a value; one thread at a time.
class StreamRetry {
 public:
  static constexpr std::chrono::seconds first{2};
  static constexpr std::chrono::seconds last{30};

  /// The pause until the next attempt.
  std::chrono::seconds failed() {
    const auto pause = pause_;
    pause_ = std::min(pause_ * 2, last);
    return pause;
  }
  void shown() { pause_ = first; }

 private:
  std::chrono::seconds pause_ = first;
};

}  // namespace quorl::viewer
