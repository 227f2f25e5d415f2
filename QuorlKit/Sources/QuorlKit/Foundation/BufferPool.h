// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Buffers that are used again, for example for the pieces of a file that is sent. A buffer returns when
/// nobody holds it any more, so that a transfer neither allocates nor clears memory for each piece.
///
/// *Queue*: any thread.
/// *Ownership*: its user's. Buffers hold it weakly.
/// *Lifetime*: a buffer that outlives the pool is freed.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
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
