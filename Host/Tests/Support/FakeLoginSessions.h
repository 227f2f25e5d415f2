// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/LoginSessions.h>

namespace quorl::test {

/// A machine's console, whose user a test sets.
///
/// *Queue*: the simulation's one thread.
class FakeConsole {
 public:
  void handTo(std::optional<std::string> user);

  std::optional<std::string> user;

 private:
  friend class FakeLoginSessions;
  std::vector<std::function<void()>> observers_;
};

/// One process's view of that console.
class FakeLoginSessions : public LoginSessions {
 public:
  FakeLoginSessions(std::string ownUser, std::shared_ptr<FakeConsole> console)
      : ownUser_(std::move(ownUser)), console_(std::move(console)) {}

  std::optional<std::string> consoleUser() override { return console_->user; }
  std::string ownUserName() override { return ownUser_; }
  std::uint32_t ownUserID() override { return 501; }
  void observeConsoleUser(std::function<void()> changed) override;
  std::set<std::string> loggedInUsers() override { return loggedIn; }
  SwitchOutcome switchTo(std::uint32_t uid) override {
    switches.push_back(uid);
    return outcome;
  }
  bool inputReaches(std::uint32_t) override { return inputFollows; }
  bool isScreenLocked() override { return isLocked; }
  bool secureInputActive() override { return isSecureInput; }

  std::set<std::string> loggedIn;
  std::vector<std::uint32_t> switches;
  SwitchOutcome outcome = switchOutcome::Switched{};
  bool inputFollows = true;
  bool isLocked = false;
  bool isSecureInput = false;

 private:
  const std::string ownUser_;
  const std::shared_ptr<FakeConsole> console_;
};

}  // namespace quorl::test
