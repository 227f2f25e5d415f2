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

/// How much terminal output one client has been given and has not let go of yet, wherever it waits: in the
/// connection's queue, behind other frames, or at the transport. It is counted by the life of the buffers, so
/// it needs no answer from the connection and nobody waits for it.
///
/// *Queue*: any. *Ownership*: shared by the terminals that a client watches and by the counted buffers.
class SinkBacklog : public std::enable_shared_from_this<SinkBacklog> {
 public:
  static constexpr std::size_t leastLimit = 256U << 10;
  static constexpr std::size_t mostLimit = 8U << 20;
  static constexpr std::size_t mostDrained = 256U << 10;

  /// `link`: what the client's link delivers, which sets the limit.
  explicit SinkBacklog(DeliveredRate link = nullptr) : link_(std::move(link)) {}

  /// A client with more than this does not keep up: about a second of its link, so that what is typed into a
  /// flood shows on its screen that soon.
  std::size_t limit() const;
  /// It keeps up again when this little is left.
  std::size_t drained() const { return std::min(limit() / 4, mostDrained); }
  bool isOverLimit() const;
  std::size_t outstanding() const;

  /// The same bytes, counted until the last reference to the result has gone.
  SharedBytes counted(SharedBytes bytes);

  /// Calls `work` once, when the backlog is drained, on the thread that lets the last buffer go; at once when
  /// it is. `work` only posts.
  void whenDrained(std::function<void()> work);

 private:
  void release(std::size_t size);

  const DeliveredRate link_;
  mutable std::mutex mutex_;
  std::size_t outstanding_ = 0;
  std::vector<std::function<void()>> waiting_;
};

}  // namespace quorl
