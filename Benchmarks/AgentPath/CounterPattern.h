// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quorl::bench {

/// Lines of 15 hexadecimal digits that count up, so that a byte which is missing, doubled or in the wrong
/// place is noticed.
class CounterPattern {
 public:
  static constexpr std::size_t lineSize = 16;

  CounterPattern();

  /// The next bytes; a multiple of the line's size.
  void fill(std::span<char> bytes);
  /// Whether these are the next bytes, however the pattern is cut.
  bool matches(std::span<const std::uint8_t> bytes);
  std::uint64_t position() const { return position_; }

 private:
  void count();

  std::array<char, lineSize> line_;
  std::uint64_t position_ = 0;
};

/// Writes so many bytes of the pattern to standard output; the exit status.
int generate(std::uint64_t size);
/// Writes lines until SIGINT comes, notes when it came (steady clock, nanoseconds) in the file and ends.
int generateUntilInterrupted(const char* path);

}  // namespace quorl::bench
