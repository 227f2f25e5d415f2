// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// How much terminal output one client has been given and has not let go of yet, wherever it waits: in the
/// connection's queue, behind other frames, or at the transport. It is counted by the life of the buffers, so
/// it needs no answer from the connection and nobody waits for it.
///
/// *Queue*: any. *Ownership*: shared by the terminals that a client watches and by the counted buffers.
class SinkBacklog : public std::enable_shared_from_this<SinkBacklog> {
 public:
  /// A client with more than this does not keep up.
  static constexpr std::size_t limit = 8U << 20;
  /// It keeps up again when so little is left.
  static constexpr std::size_t drained = 256U << 10;

  bool isOverLimit() const;
  std::size_t outstanding() const;

  /// The same bytes, counted until the last reference to the result has gone.
  SharedBytes counted(SharedBytes bytes);

  /// Calls `work` once, when the backlog is drained, on the thread that lets the last buffer go; at once when
  /// it is. `work` only posts.
  void whenDrained(std::function<void()> work);

 private:
  void release(std::size_t size);

  mutable std::mutex mutex_;
  std::size_t outstanding_ = 0;
  std::vector<std::function<void()>> waiting_;
};

}  // namespace quorl
