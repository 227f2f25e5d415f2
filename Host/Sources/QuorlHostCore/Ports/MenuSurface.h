// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>

namespace quorl {

/// Runs the program that shows the tray icon, the popover and the setup window. It is a program of its own
/// because a toolkit ends its process when the display is lost, and because a host without a desktop does not
/// load one.
///
/// *Queue*: operations on any thread; handlers arrive on the queue given to `open`.
/// *Blocking*: none of them waits, except `close`, which waits a moment for the program to end.
/// *Ownership*: owns the program and keeps the handlers until `close`.
/// *Lifetime*: no handler is called after `close`; destruction closes.
class MenuSurface {
 public:
  struct Handlers {
    std::function<void(std::string line)> received;  // without its line feed
    /// Once per `startProgram`, after its last line. `reason` is for the log.
    std::function<void(std::string reason)> ended;
    /// A display that was missing may be there now.
    std::function<void()> displayAppeared;
  };

  virtual ~MenuSurface() = default;

  /// Once, before anything else.
  virtual void open(SerialQueue queue, Handlers handlers) = 0;
  /// Whether a display accepts connections now. Costs one connection attempt to a local socket.
  virtual bool isDisplayReachable() = 0;
  /// Not while the program runs.
  virtual void startProgram() = 0;
  /// Passes a line, with its line feed, to the program. It is dropped if no program runs, or if the program
  /// has not read much of what was sent before.
  virtual void send(std::string line) = 0;
  virtual void close() = 0;
};

}  // namespace quorl
