// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <mutex>
#include <vector>

#include "Viewer.h"

namespace quorl::bench {

/// State shared by a viewer's decoding thread and the measuring thread.
class ProbeBoard {
 public:
  void arm(std::span<const Probe> probes) {
    std::lock_guard lock(mutex_);
    probes_.assign(probes.begin(), probes.end());
    seen_.reset();
    error_.reset();
  }

  std::optional<double> error() {
    std::lock_guard lock(mutex_);
    return error_;
  }

  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, deadline, [this] { return seen_.has_value(); });
    return seen_;
  }

  /// Called when a picture has been decoded; `pixel(x, y)` reads it.
  template <class Pixel>
  void picture(Pixel&& pixel) {
    const auto now = Clock::now();
    std::lock_guard lock(mutex_);
    if (probes_.empty()) return;
    int distance = 0;
    bool allMatch = true;
    for (const Probe& probe : probes_) {
      const Rgb seen = pixel(probe.x, probe.y);
      distance += probe.distance(seen);
      allMatch = allMatch && probe.matches(seen);
    }
    if (seen_ || allMatch) error_ = distance / (3.0 * static_cast<double>(probes_.size()));
    if (seen_ || !allMatch) return;
    seen_ = now;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Probe> probes_;
  std::optional<Clock::time_point> seen_;
  std::optional<double> error_;
};

}  // namespace quorl::bench
