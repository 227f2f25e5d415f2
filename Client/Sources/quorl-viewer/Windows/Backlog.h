// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstddef>

namespace quorl::viewer {

/// Bounds what waits for the GUI thread. A host that sends faster than the window takes it costs bounded
/// memory; what is beyond the bound is dropped.
///
/// *Queue*: `admit` on one thread, `done` on another.
class Backlog {
 public:
  constexpr Backlog(std::size_t mostEntries, std::size_t mostBytes)
      : mostEntries_(mostEntries), mostBytes_(mostBytes) {}

  /// Whether an entry may wait, until its `done`. A single one may have any size.
  bool admit(std::size_t bytes) {
    if (entries_ >= mostEntries_ || (entries_ > 0 && bytes_ + bytes > mostBytes_)) return false;
    ++entries_;
    bytes_ += bytes;
    return true;
  }
  void done(std::size_t bytes) {
    bytes_ -= bytes;
    --entries_;
  }

 private:
  const std::size_t mostEntries_;
  const std::size_t mostBytes_;
  std::atomic<std::size_t> entries_ = 0;
  std::atomic<std::size_t> bytes_ = 0;
};

}  // namespace quorl::viewer
