// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/CredentialAuthority.h>
#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostCore/Ports/PictureScaler.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/UserDirectory.h>
#include <QuorlHostCore/Users/Accounts.h>
#include <QuorlHostCore/Users/CredentialLimiter.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Models/UserModels.h>

namespace quorl {

class InputInjector;

/// The user at the machine's console, the accounts, and what clients do with them: switch, unlock, check a
/// password.
///
/// *Queue*: "quorl.usersession" observes the console, "quorl.credentials" checks passwords; every operation
/// may be called from any thread.
/// *Blocking*: all operations but `observeConsoleUser`, `verifyCredentials`, `attemptUnlock` and `ownUserID`
/// wait for the platform, as blocking work; the list of accounts may take seconds.
/// *Ownership*: shared by the runtime, the server and the connections.
/// *Lifetime*: the runtime's. A check that is running keeps it alive.
class UserSessionManager : public std::enable_shared_from_this<UserSessionManager> {
 public:
  /// Of an avatar's PNG.
  static constexpr int avatarSide = 256;
  static constexpr std::size_t avatarMaximum = 262'144;
  /// The avatars of one list together, so that the list fits in a frame.
  static constexpr std::size_t allAvatarsMaximum = 16 << 20;
  /// Checks that may wait, over all clients. A further one is answered with false.
  static constexpr int mostWaitingChecks = 32;

  /// All but `sessions` may be absent: then there are no accounts, no pictures, no typing, and no password is
  /// right.
  struct Ports {
    std::shared_ptr<LoginSessions> sessions;
    std::shared_ptr<UserDirectory> directory;
    std::shared_ptr<PictureScaler> pictures;
    std::shared_ptr<CredentialAuthority> credentials;
    std::shared_ptr<InputInjector> injector;
  };

  UserSessionManager(Scheduler& scheduler, Ports ports);
  UserSessionManager(const Platform& platform, std::shared_ptr<InputInjector> injector);

  /// The user who owns the console; nothing at a login window.
  std::optional<std::string> consoleUser();
  std::string ownUserName();
  std::uint32_t ownUserID();

  /// Calls `callback` on the queue with the console user whenever it may have changed. Set once.
  void observeConsoleUser(std::function<void(std::optional<std::string>)> callback);

  bool isScreenLocked();
  bool secureInputActive();

  std::vector<Account> accounts();
  /// At most `avatarSide` pixels on the longer side and `avatarMaximum` bytes.
  std::optional<Bytes> avatarPNG(const std::string& username);
  /// The accounts with their avatars, as clients get them.
  std::vector<UserAccount> userList();

  SwitchOutcome switchTo(std::uint32_t uid);
  /// Types the password and Return. False if this process may not type. Nothing checks that the screen is
  /// locked or that the password was right.
  bool attemptUnlock(SecretText password);
  /// The same after a switch to that user. False also if input would not reach that user's screen.
  bool attemptUnlockAfterSwitch(std::uint32_t uid, SecretText password);

  /// Calls `answer` once, on any thread. One check runs at a time. After too many wrong passwords
  /// (`CredentialLimiter`) every answer is false for a while, without a check.
  void verifyCredentials(std::string username, SecretText password, std::function<void(bool)> answer);

 private:
  void consoleUserMayHaveChanged();
  bool check(const std::string& username, const SecretText& password) QUORL_REQUIRES(credentialQueue_);

  const SerialQueue queue_;
  const SerialQueue credentialQueue_;
  const Ports ports_;
  std::atomic<int> waitingChecks_ = 0;
  std::function<void(std::optional<std::string>)> onConsoleChange_ QUORL_GUARDED_BY(queue_);
  CredentialLimiter limiter_ QUORL_GUARDED_BY(credentialQueue_);
};

}  // namespace quorl
