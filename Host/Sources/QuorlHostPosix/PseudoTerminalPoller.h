// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlHostPosix/Waker.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// Waits for terminals and for processes to end. Each system implements this class; Linux uses epoll and
/// process descriptors (epoll(7), pidfd_open(2)).
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

  /// A descriptor that becomes ready when the process ends. The process is a child not yet waited for. Not
  /// open when the system refuses.
  static Descriptor openProcess(pid_t pid);

  /// Reports the end of the process once, with `token`.
  void watchProcess(int process, std::uint64_t token);
  void addTerminal(int terminal, std::uint64_t token);
  /// Reports one event when an interest is met or the other side has closed, then none until the next call.
  void arm(int terminal, std::uint64_t token, Interest interest);
  void remove(int descriptor);

  /// Ends the current or the next `wait`.
  void wake();
  /// Without a limit, waits until there is an event.
  const std::vector<Event>& wait(std::optional<std::chrono::nanoseconds> limit);

 private:
  Descriptor epoll_;
  Waker wakeUp_;
  std::vector<Event> events_;
  bool hasFineWait_ = true;  // the waiting thread's
};

}  // namespace quorl
