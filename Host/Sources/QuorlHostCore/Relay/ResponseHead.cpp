// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/ResponseHead.h>

#include <utility>

#include <QuorlHostCore/Relay/HeadTerminator.h>

namespace quorl {

std::optional<Bytes> ResponseHead::append(ByteView bytes) {
  const std::size_t searched = buffer_.size();
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  const auto terminator = findTerminator(buffer_, searched);
  if (!terminator) {
    if (buffer_.size() <= limit) return std::nullopt;
    return std::exchange(buffer_, {});
  }
  const std::size_t lineEnd = textViewOf(buffer_).find("\r\n");
  if (lineEnd < *terminator) {
    line_ += "\r\n";
    const auto at = buffer_.begin() + static_cast<std::ptrdiff_t>(lineEnd) + 2;
    buffer_.insert(at, line_.begin(), line_.end());
  }
  return std::exchange(buffer_, {});
}

}  // namespace quorl
