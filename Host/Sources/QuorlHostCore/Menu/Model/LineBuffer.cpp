// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/LineBuffer.h>

#include <algorithm>

namespace quorl {

void LineBuffer::append(std::string_view bytes) {
  if (overflowed_) return;
  bytes_.erase(0, consumed_);
  searched_ -= consumed_;
  consumed_ = 0;
  bytes_.append(bytes);
}

std::optional<std::string> LineBuffer::next() {
  if (overflowed_) return std::nullopt;
  const std::size_t end = bytes_.find('\n', searched_);
  const std::size_t length = (end == std::string::npos ? bytes_.size() : end) - consumed_;
  if (length > maxLength) {
    overflowed_ = true;
    bytes_.clear();
    return std::nullopt;
  }
  if (end == std::string::npos) {
    searched_ = bytes_.size();
    return std::nullopt;
  }
  std::string line = bytes_.substr(consumed_, length);
  consumed_ = searched_ = end + 1;
  return line;
}

}  // namespace quorl
