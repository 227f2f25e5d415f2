// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Buffers for the pieces of files that are sent. A buffer returns here when its frame has left, so that a
/// transfer neither allocates nor clears memory for each piece.
///
/// *Queue*: any thread.
/// *Ownership*: the sender's. Buffers hold it weakly.
/// *Lifetime*: a buffer that outlives the pool is freed.
class PieceBuffers : public std::enable_shared_from_this<PieceBuffers> {
 public:
  /// A buffer of this size with unspecified content.
  std::shared_ptr<Bytes> take(std::size_t size) {
    std::unique_ptr<Bytes> buffer;
    {
      const std::lock_guard lock(mutex_);
      if (!free_.empty()) {
        buffer = std::move(free_.back());
        free_.pop_back();
      }
    }
    if (!buffer) buffer = std::make_unique<Bytes>();
    buffer->resize(size);
    return {buffer.release(), [pool = weak_from_this()](Bytes* used) {
              std::unique_ptr<Bytes> returned(used);
              if (const auto self = pool.lock()) self->giveBack(std::move(returned));
            }};
  }

 private:
  void giveBack(std::unique_ptr<Bytes> buffer) {
    const std::lock_guard lock(mutex_);
    free_.push_back(std::move(buffer));
  }

  std::mutex mutex_;
  std::vector<std::unique_ptr<Bytes>> free_;
};

}  // namespace quorl
