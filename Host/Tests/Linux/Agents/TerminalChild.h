// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quorl::test {

/// A program on a pseudo-terminal of its own, which is its controlling terminal. Killed and reaped at the
/// end.
class TerminalChild {
 public:
  explicit TerminalChild(const std::vector<std::string>& arguments, const std::string& directory = "/");
  TerminalChild(const TerminalChild&) = delete;
  TerminalChild& operator=(const TerminalChild&) = delete;
  ~TerminalChild();

  pid_t pid() const { return pid_; }
  const std::string& tty() const { return tty_; }
  /// Waits for the end. Returns the status of waitpid.
  int wait();

 private:
  int master_ = -1;
  pid_t pid_ = -1;
  std::string tty_;
};

}  // namespace quorl::test
