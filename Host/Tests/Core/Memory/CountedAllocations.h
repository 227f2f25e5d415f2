// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorl::test {

/// The peak of allocated memory since construction, beyond what was allocated then. Counts all threads' use
/// of `new`. One instance at a time.
class AllocationPeak {
 public:
  AllocationPeak();
  std::size_t extraBytes() const;

 private:
  std::size_t before_;
};

/// Finds memory that is released while it holds a text. One instance at a time.
class ReleasedText {
 public:
  explicit ReleasedText(std::string_view text);
  ~ReleasedText();
  ReleasedText(const ReleasedText&) = delete;
  ReleasedText& operator=(const ReleasedText&) = delete;
  /// Blocks of memory.
  std::size_t count() const;

 private:
  const std::string text_;
};

}  // namespace quorl::test
