// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostLinux/System/ConsoleUser.h>

namespace quorl {

/// The console by org.freedesktop.login1 (the D-Bus API of systemd-logind). Each question opens a short-lived
/// connection of its own, so that it may be asked on any thread; without a bus the console is the own user's.
///
/// *Queue*: any thread; `observeConsoleUser`'s callback on a thread of the adapter's.
/// *Lifetime*: destruction ends the observation and waits for a callback that is running.
class LogindSessions final : public LoginSessions {
 public:
  LogindSessions();
  ~LogindSessions() override;

  std::optional<std::string> consoleUser() override;
  std::string ownUserName() override;
  /// Calls once when the observation begins: whatever changed before it is not missed.
  void observeConsoleUser(std::function<void()> changed) override;

 private:
  struct Observation;
  std::unique_ptr<Observation> observation_;
};

}  // namespace quorl
