// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

#include <quorl-client/Session/PathState.h>

namespace quorl::client {

/// How many bytes of an upload may be under way. TCP alone would fill the buffer of a slow link's router, and
/// every key, click and acknowledgement of a stream would wait in it. This window grows while the round trip
/// stays close to its shortest and shrinks when it does not. The upload still takes what the link has to
/// spare; on a fast link the window soon exceeds what TCP uses.
///
/// *Queue*: one at a time. *Ownership*: a value.
class UploadPace {
 public:
  static constexpr std::size_t smallestWindow = 16'384;
  static constexpr std::size_t largestWindow = 64 << 20;
  /// A stream in the opposite direction adds up to 40 ms by itself.
  static constexpr auto shortDelay = std::chrono::milliseconds(40);
  static constexpr auto longDelay = std::chrono::milliseconds(70);

  /// Changes the window at most once per round trip, because a change shows only after one.
  void observe(const PathState& path, Clock::time_point now);

  bool mayStart(const PathState& path) const { return path.bytesUnderWay < window_; }
  std::size_t window() const { return window_; }

 private:
  std::size_t window_ = 65'536;
  bool isStarting_ = true;  // until the first long delay
  Clock::time_point next_{};
};

}  // namespace quorl::client
