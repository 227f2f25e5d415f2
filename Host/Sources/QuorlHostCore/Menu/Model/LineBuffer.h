// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// Cuts a stream of bytes into lines. Amortised linear; holds one line at most, of a bounded length.
///
/// *Queue*: one at a time.
class LineBuffer {
 public:
  /// A snapshot with a hundred clients with long names has 40 KiB.
  static constexpr std::size_t maxLength = 1 << 20;

  void append(std::string_view bytes);
  /// The next whole line, without its line feed.
  std::optional<std::string> next();
  /// A line is longer than the limit. Nothing more is returned.
  bool hasOverflowed() const { return overflowed_; }

 private:
  std::string bytes_;
  std::size_t searched_ = 0;  // no line feed before
  std::size_t consumed_ = 0;
  bool overflowed_ = false;
};

}  // namespace quorl
