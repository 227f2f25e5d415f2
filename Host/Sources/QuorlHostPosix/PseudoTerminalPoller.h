// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlUnix/Descriptor.h>
#include <QuorlHostPosix/Waker.h>

namespace quorl {

/// Waits for terminals and for the ends of processes. Each system has its own source of this class: Linux
/// with epoll and process descriptors (epoll(7), pidfd_open(2)).
///
/// *Queue*: `wait` on one thread; the rest from any.
class PseudoTerminalPoller {
 public:
  enum class Source : std::uint8_t { terminal, process };
  struct Event {
    std::uint64_t token = 0;
    Source source = Source::terminal;
  };
  struct Interest {
    bool reading = false;
    bool writing = false;
  };

  PseudoTerminalPoller();

  /// A descriptor that becomes ready when the process, a child that nobody has waited for, ends. Not open
  /// when the system refuses one.
  static Descriptor openProcess(pid_t pid);

  /// From then on an event with `token` tells once that the process has ended.
  void watchProcess(int process, std::uint64_t token);
  void addTerminal(int terminal, std::uint64_t token);
  /// One event when any of the interest is met, or the other side has closed; then none until the next call.
  void arm(int terminal, std::uint64_t token, Interest interest);
  void remove(int descriptor);

  /// Ends the current or the next `wait`.
  void wake();
  /// Without a time limit waits for as long as it takes.
  const std::vector<Event>& wait(std::optional<std::chrono::nanoseconds> limit);

 private:
  Descriptor epoll_;
  Waker wakeUp_;
  std::vector<Event> events_;
  bool hasFineWait_ = true;  // the waiting thread's
};

}  // namespace quorl
