// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quorl {

/// The user at the machine's console.
///
/// *Queue*: operations on any thread; `changed` arrives on a thread of the adapter.
/// *Blocking*: `consoleUser` and `ownUserName` may ask another process (the login manager, the name service);
/// callers use `Scheduler::blocking`.
/// *Ownership*: the adapter keeps `changed` until destruction.
/// *Lifetime*: destruction ends the observation and waits for a call of `changed` that is running.
class LoginSessions {
 public:
  virtual ~LoginSessions() = default;

  /// The user whose session holds the console now; nothing at a login window.
  virtual std::optional<std::string> consoleUser() = 0;

  /// The user this process runs as.
  virtual std::string ownUserName() = 0;

  /// Calls `changed` whenever the console user may have changed. Set once. Where changes cannot be observed
  /// it is never called.
  virtual void observeConsoleUser(std::function<void()> changed) = 0;
};

}  // namespace quorl
