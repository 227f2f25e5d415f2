// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostLinux/System/ConsoleUser.h>

namespace quorl {

/// The console and the login sessions by org.freedesktop.login1 (the D-Bus API of systemd-logind). Each query
/// opens a short-lived connection, so that it may run on any thread. Without a bus, the host's user holds the
/// console.
///
/// *Queue*: any thread; `observeConsoleUser` calls back on a thread of the adapter.
/// *Lifetime*: destruction ends the observation and waits for a callback that is running.
class LogindSessions final : public LoginSessions {
 public:
  LogindSessions();
  ~LogindSessions() override;

  std::optional<std::string> consoleUser() override;
  std::string ownUserName() override;
  /// Calls once when the observation begins, so that no earlier change is missed.
  void observeConsoleUser(std::function<void()> changed) override;
  std::uint32_t ownUserID() override;
  /// Without a login manager, the users in the records of utmpx.
  std::set<std::string> loggedInUsers() override;
  /// Activates a session of the user, or shows the login window if there is none and the display manager can
  /// do that (org.freedesktop.DisplayManager).
  SwitchOutcome switchTo(std::uint32_t uid) override;
  bool inputReaches(std::uint32_t uid) override;
  /// What the session's locker reports to the login manager. Some lockers report nothing.
  bool isScreenLocked() override;
  /// Always false: no display server of this system has such a state.
  bool secureInputActive() override;

 private:
  struct Observation;
  std::unique_ptr<Observation> observation_;
};

}  // namespace quorl
