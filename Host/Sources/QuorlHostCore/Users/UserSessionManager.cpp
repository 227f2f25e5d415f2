// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/UserSessionManager.h>

#include <utility>

namespace quorl {

UserSessionManager::UserSessionManager(Scheduler& scheduler, std::shared_ptr<LoginSessions> sessions)
    : queue_(scheduler, "quorl.usersession", QueueRank::service), sessions_(std::move(sessions)) {}

std::optional<std::string> UserSessionManager::consoleUser() {
  std::optional<std::string> user;
  queue_.scheduler().blocking([&] { user = sessions_->consoleUser(); });
  if (!user || user->empty() || *user == "loginwindow") return std::nullopt;
  return user;
}

std::string UserSessionManager::ownUserName() {
  std::string name;
  queue_.scheduler().blocking([&] { name = sessions_->ownUserName(); });
  return name;
}

void UserSessionManager::observeConsoleUser(std::function<void(std::optional<std::string>)> callback) {
  queue_.async([self = shared_from_this(), callback = std::move(callback)]() mutable {
    self->queue_.assertCurrent();
    self->onConsoleChange_ = std::move(callback);
    self->queue_.scheduler().blocking([&self] {
      self->sessions_->observeConsoleUser([weak = self->weak_from_this()] {
        if (const auto manager = weak.lock()) manager->consoleUserMayHaveChanged();
      });
    });
  });
}

void UserSessionManager::consoleUserMayHaveChanged() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    if (self->onConsoleChange_) self->onConsoleChange_(self->consoleUser());
  });
}

}  // namespace quorl
