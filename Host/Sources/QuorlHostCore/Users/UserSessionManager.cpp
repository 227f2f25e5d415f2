// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/UserSessionManager.h>

#include <utility>

#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

template <class Work>
auto blocking(Scheduler& scheduler, Work work) {
  std::optional<decltype(work())> result;
  scheduler.blocking([&] { result.emplace(work()); });
  return std::move(*result);
}

}  // namespace

UserSessionManager::UserSessionManager(Scheduler& scheduler, Ports ports)
    : queue_(scheduler, "quorl.usersession", QueueRank::service),
      credentialQueue_(scheduler, "quorl.credentials", QueueRank::service),
      ports_(std::move(ports)) {}

UserSessionManager::UserSessionManager(const Platform& platform, std::shared_ptr<InputInjector> injector)
    : UserSessionManager(*platform.scheduler, {.sessions = platform.loginSessions,
                                               .directory = platform.userDirectory,
                                               .pictures = platform.pictures,
                                               .credentials = platform.credentials,
                                               .injector = std::move(injector)}) {}

std::optional<std::string> UserSessionManager::consoleUser() {
  auto user = blocking(queue_.scheduler(), [&] { return ports_.sessions->consoleUser(); });
  if (!user || user->empty() || *user == "loginwindow") return std::nullopt;
  return user;
}

std::string UserSessionManager::ownUserName() {
  return blocking(queue_.scheduler(), [&] { return ports_.sessions->ownUserName(); });
}

std::uint32_t UserSessionManager::ownUserID() {
  return ports_.sessions->ownUserID();
}

void UserSessionManager::observeConsoleUser(std::function<void(std::optional<std::string>)> callback) {
  queue_.async([self = shared_from_this(), callback = std::move(callback)]() mutable {
    self->queue_.assertCurrent();
    self->onConsoleChange_ = std::move(callback);
    self->queue_.scheduler().blocking([&self] {
      self->ports_.sessions->observeConsoleUser([weak = self->weak_from_this()] {
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

bool UserSessionManager::isScreenLocked() {
  return blocking(queue_.scheduler(), [&] { return ports_.sessions->isScreenLocked(); });
}

bool UserSessionManager::secureInputActive() {
  return blocking(queue_.scheduler(), [&] { return ports_.sessions->secureInputActive(); });
}

std::vector<Account> UserSessionManager::accounts() {
  if (!ports_.directory) return {};
  const auto console = consoleUser();
  return blocking(queue_.scheduler(), [&] {
    return loginAccounts(ports_.directory->entries(), ports_.directory->firstLoginUID(),
                         ports_.sessions->loggedInUsers(), console);
  });
}

std::optional<Bytes> UserSessionManager::avatarPNG(const std::string& username) {
  std::optional<Bytes> avatar;
  if (!ports_.directory || !ports_.pictures) return avatar;
  queue_.scheduler().blocking([&] {
    ports_.directory->offerPictures(username, [&](ByteView file) {
      auto png = ports_.pictures->scaledPNG(file, avatarSide);
      if (!png || png->size() > avatarMaximum) return false;
      avatar = std::move(png);
      return true;
    });
  });
  return avatar;
}

std::vector<UserAccount> UserSessionManager::userList() {
  std::vector<UserAccount> list;
  std::size_t avatarBytes = 0;
  for (Account& account : accounts()) {
    auto avatar = avatarBytes < allAvatarsMaximum ? avatarPNG(account.username) : std::nullopt;
    if (avatar) avatarBytes += avatar->size();
    list.push_back({.uid = account.uid,
                    .username = std::move(account.username),
                    .fullName = std::move(account.fullName),
                    .isLoggedIn = account.isLoggedIn,
                    .isActive = account.isActive,
                    .avatarPNG = std::move(avatar)});
  }
  return list;
}

SwitchOutcome UserSessionManager::switchTo(std::uint32_t uid) {
  return blocking(queue_.scheduler(), [&] { return ports_.sessions->switchTo(uid); });
}

bool UserSessionManager::attemptUnlock(SecretText password) {
  if (!ports_.injector || !ports_.injector->hasAccessibilityPermission()) return false;
  return ports_.injector->typePassword(std::move(password));
}

bool UserSessionManager::attemptUnlockAfterSwitch(std::uint32_t uid, SecretText password) {
  if (ports_.sessions->inputReaches(uid)) return attemptUnlock(std::move(password));
  Log::app.info("the password was not typed: input of this host does not reach the new session");
  return false;
}

void UserSessionManager::verifyCredentials(std::string username, SecretText password,
                                           std::function<void(bool)> answer) {
  if (waitingChecks_ >= mostWaitingChecks) return answer(false);
  ++waitingChecks_;
  credentialQueue_.async([self = shared_from_this(), username = std::move(username),
                          password = std::move(password), answer = std::move(answer)]() mutable {
    self->credentialQueue_.assertCurrent();
    const bool isValid = self->check(username, password);
    password = SecretText();
    --self->waitingChecks_;
    answer(isValid);
  });
}

bool UserSessionManager::check(const std::string& username, const SecretText& password) {
  if (!ports_.credentials || !limiter_.mayCheck(credentialQueue_.now())) return false;
  const bool isValid =
      blocking(credentialQueue_.scheduler(), [&] { return ports_.credentials->verify(username, password); });
  if (!isValid && limiter_.recordFailure(credentialQueue_.now()))
    Log::auth.error("too many wrong passwords: no password is checked for a minute");
  return isValid;
}

}  // namespace quorl
