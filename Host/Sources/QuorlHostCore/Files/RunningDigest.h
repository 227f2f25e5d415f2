// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Digest.h>

namespace quorl {

/// The SHA-256 of a file while it is written, as long as the pieces follow one another without a gap. Then
/// the file need not be read again.
///
/// *Queue*: the owner's; a value.
class RunningDigest {
 public:
  void written(std::uint64_t offset, ByteView bytes) {
    if (bytes.empty()) return;
    isWhole_ = isWhole_ && offset == size_;
    if (!isWhole_) return;
    digest_.update(bytes);
    size_ += bytes.size();
  }

  /// Nothing if pieces came in another order or overlapped. Call it once.
  std::optional<SHA256Digest> finish() {
    if (!isWhole_) return std::nullopt;
    return digest_.finish();
  }

 private:
  SHA256 digest_;
  std::uint64_t size_ = 0;
  bool isWhole_ = true;
};

}  // namespace quorl
