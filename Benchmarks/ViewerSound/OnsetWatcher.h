// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "../Support/Viewer.h"

struct pa_simple;

namespace quorl::bench {

/// Records what an output plays, and notes when a sound begins after at least 100 ms of silence.
///
/// A piece arrives some time after its last sample was rendered, later on a busy machine. The piece of the
/// last two seconds that came with the least delay shows when each sample was rendered. Watchers of outputs
/// of the same kind have the same constant error, which their difference does not have.
///
/// *Queue*: a thread of its own reads; the rest is called by one thread.
class OnsetWatcher {
 public:
  /// Throws if the server refuses.
  OnsetWatcher(const std::string& server, const char* device);
  OnsetWatcher(const OnsetWatcher&) = delete;
  OnsetWatcher& operator=(const OnsetWatcher&) = delete;
  ~OnsetWatcher();

  /// Forgets what was heard.
  void arm();
  /// The beginning of the first sound since then; nothing at the deadline.
  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline);

 private:
  struct Piece {
    Clock::time_point arrival;
    Clock::time_point zero;  // of the first sample, if this piece was not late
  };

  void run();
  void take(const std::int16_t* samples, std::size_t count);
  Clock::time_point zero() const;

  pa_simple* stream_ = nullptr;
  std::uint64_t frames_ = 0;
  std::uint64_t silent_ = 0;
  std::deque<Piece> pieces_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Clock::time_point> onset_;
  std::jthread thread_;
};

}  // namespace quorl::bench
