// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <variant>

namespace quorl {

namespace switchOutcome {
struct Failed {
  std::string message;
  bool operator==(const Failed&) const = default;
};
struct Switched {
  bool operator==(const Switched&) const = default;
};
/// The system has no means to switch to that user.
struct Unavailable {
  bool operator==(const Unavailable&) const = default;
};
}  // namespace switchOutcome

using SwitchOutcome =
    std::variant<switchOutcome::Failed, switchOutcome::Switched, switchOutcome::Unavailable>;

/// The login sessions of the machine and the user at its console.
///
/// *Queue*: operations on any thread; `changed` arrives on a thread of the adapter.
/// *Blocking*: all but `inputReaches` and `ownUserID` may ask another process (the login manager, the name
/// service); callers use `Scheduler::blocking`.
/// *Ownership*: the adapter keeps `changed` until destruction.
/// *Lifetime*: destruction ends the observation and waits for a call of `changed` that is running.
class LoginSessions {
 public:
  virtual ~LoginSessions() = default;

  /// The user whose session holds the console now; nothing at a login window.
  virtual std::optional<std::string> consoleUser() = 0;

  /// The user this process runs as.
  virtual std::string ownUserName() = 0;
  virtual std::uint32_t ownUserID() = 0;

  /// Calls `changed` whenever the console user may have changed. Set once. Where changes cannot be observed
  /// it is never called.
  virtual void observeConsoleUser(std::function<void()> changed) = 0;

  /// The names of all users with a login session.
  virtual std::set<std::string> loggedInUsers() = 0;
  /// Gives the console to a session of that user.
  virtual SwitchOutcome switchTo(std::uint32_t uid) = 0;
  /// Whether synthetic input of this process reaches the screen that is shown after a switch to that user. If
  /// not, a password typed then would go to another window.
  virtual bool inputReaches(std::uint32_t uid) = 0;
  /// Whether the session of this process is locked.
  virtual bool isScreenLocked() = 0;
  /// Whether the platform protects a field for passwords from synthetic input now.
  virtual bool secureInputActive() = 0;
};

}  // namespace quorl
