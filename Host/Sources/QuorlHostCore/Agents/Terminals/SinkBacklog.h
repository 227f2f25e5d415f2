// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <QuorlHostCore/Link/DeliveredRate.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The terminal output that was given to one client and is not released yet, wherever it waits: in the
/// connection's queue, after other frames, or in the transport. It is counted by the lifetime of the buffers
/// and needs no answer of the connection.
///
/// *Queue*: any thread.
/// *Blocking*: none.
/// *Ownership*: shared by the terminals that a client watches and by the counted buffers.
class SinkBacklog : public std::enable_shared_from_this<SinkBacklog> {
 public:
  static constexpr std::size_t leastLimit = 256U << 10;
  static constexpr std::size_t mostLimit = 8U << 20;
  static constexpr std::size_t mostDrained = 256U << 10;

  /// `link`: the delivered rate of the client's link, which determines the limit.
  explicit SinkBacklog(DeliveredRate link = nullptr) : link_(std::move(link)) {}

  /// A client with a larger backlog does not keep up. The limit is about a second of its link, so that input
  /// during a flood of output shows on its screen within about that time.
  std::size_t limit() const;
  /// The client keeps up again at this backlog.
  std::size_t drained() const { return std::min(limit() / 4, mostDrained); }
  bool isOverLimit() const;
  std::size_t outstanding() const;

  /// The same bytes, counted until the last reference to the result is released.
  SharedBytes counted(SharedBytes bytes);

  /// Calls `work` once when the backlog is drained, on the thread that releases the last buffer, or at once
  /// if it is. `work` may only post.
  void whenDrained(std::function<void()> work);

 private:
  void release(std::size_t size);

  const DeliveredRate link_;
  mutable std::mutex mutex_;
  std::size_t outstanding_ = 0;
  std::vector<std::function<void()>> waiting_;
};

}  // namespace quorl
