// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlKit/Models/UserModels.h>

namespace quorl {

/// The user at the machine's console.
///
/// *Queue*: "quorl.usersession"; every operation may be called from any thread.
/// *Blocking*: `consoleUser` and `ownUserName` wait for the platform, as blocking work.
/// *Ownership*: shared by the runtime, the server and the connections.
/// *Lifetime*: the runtime's.
class UserSessionManager : public std::enable_shared_from_this<UserSessionManager> {
 public:
  UserSessionManager(Scheduler& scheduler, std::shared_ptr<LoginSessions> sessions);

  /// The user who owns the console; nothing at a login window.
  std::optional<std::string> consoleUser();
  std::string ownUserName();

  /// Calls `callback` on the queue with the console user whenever it may have changed. Set once.
  void observeConsoleUser(std::function<void(std::optional<std::string>)> callback);

 private:
  void consoleUserMayHaveChanged();

  const SerialQueue queue_;
  const std::shared_ptr<LoginSessions> sessions_;
  std::function<void(std::optional<std::string>)> onConsoleChange_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
