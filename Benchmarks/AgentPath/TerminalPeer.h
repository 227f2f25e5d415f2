// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quorl::bench {

using Clock = std::chrono::steady_clock;

/// A program on a pseudo-terminal that the benchmark reads as fast as it can. Destruction kills the program.
class TerminalPeer {
 public:
  enum class Modes : std::uint8_t { ordinary, raw };

  TerminalPeer(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
               Modes modes);
  TerminalPeer(const TerminalPeer&) = delete;
  TerminalPeer& operator=(const TerminalPeer&) = delete;
  ~TerminalPeer();

  void type(std::string_view keys);
  /// The next output within the time limit; empty at the limit and at the end.
  std::span<const std::uint8_t> read(std::chrono::milliseconds limit);
  bool hasEnded() const { return hasEnded_; }
  /// Reads until the text appears and returns what follows it in the same read; `isFound` reports success.
  std::span<const std::uint8_t> readUntil(std::string_view text, bool& isFound,
                                          std::chrono::seconds limit = std::chrono::seconds(20));
  /// Reads and discards output until there is none for the duration.
  void drain(std::chrono::milliseconds quiet);

 private:
  int master_ = -1;
  pid_t pid_ = -1;
  bool hasEnded_ = false;
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(65'536);
};

}  // namespace quorl::bench
