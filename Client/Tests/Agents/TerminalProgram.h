// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <QuorlUnix/Descriptor.h>

namespace quorl::client::test {

/// A program on a real terminal: collects its output, types keys, resizes the window. Killed by the
/// destructor.
///
/// *Queue*: the test's thread.
class TerminalProgram {
 public:
  /// `environment`: NAME=VALUE, added to the test's own.
  TerminalProgram(const std::vector<std::string>& words, const std::vector<std::string>& environment,
                  int columns = 100, int rows = 30);
  TerminalProgram(const TerminalProgram&) = delete;
  TerminalProgram& operator=(const TerminalProgram&) = delete;
  ~TerminalProgram();

  pid_t pid() const { return pid_; }
  void type(std::string_view keys);
  void resize(int columns, int rows);
  void signal(int number) const;

  /// The whole output as bytes.
  const std::string& screen();
  /// Waits for a text after the position `from`.
  bool shows(std::string_view text, std::size_t from = 0);
  std::size_t count(std::string_view text);
  /// The exit status, or 128 plus the number of the signal that ended it; nothing if it still runs at the
  /// deadline.
  std::optional<int> waitForExit(std::chrono::milliseconds limit = std::chrono::seconds(20));

  /// The modes of the terminal, which outlives the program.
  termios modes() const;
  bool isRaw() const;

 private:
  void collect();

  Descriptor master_;
  Descriptor slave_;
  pid_t pid_ = -1;
  std::string screen_;
  std::optional<int> status_;
};

}  // namespace quorl::client::test
