// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace quorl::bench {

/// Lines of 15 hexadecimal digits that count up, so that a missing, repeated or misplaced byte is detected.
class CounterPattern {
 public:
  static constexpr std::size_t lineSize = 16;

  CounterPattern();

  /// Writes the next bytes; their number is a multiple of the line size.
  void fill(std::span<char> bytes);
  /// Whether these are the next bytes; the pattern may be cut anywhere.
  bool matches(std::span<const std::uint8_t> bytes);
  std::uint64_t position() const { return position_; }

 private:
  void count();

  std::array<char, lineSize> line_;
  std::uint64_t position_ = 0;
};

/// Writes `size` bytes of the pattern to standard output; returns the exit status.
int generate(std::uint64_t size);
/// Writes lines until SIGINT arrives, then writes its time (steady clock, nanoseconds) to the file; returns
/// the exit status.
int generateUntilInterrupted(const char* path);

}  // namespace quorl::bench
