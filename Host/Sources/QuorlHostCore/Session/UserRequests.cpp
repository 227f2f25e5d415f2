// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/UserRequests.h>

#include <chrono>
#include <utility>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Users/UserSessionManager.h>

namespace quorl {

namespace {

// The login window needs this long to appear.
constexpr std::chrono::milliseconds unlockDelay{800};

UserSwitchResult unlockResult(UserSessionManager& users, std::uint32_t uid, bool wasTyped) {
  UserSwitchResult result{.uid = uid, .status = UserSwitchStatus::unlockAttempted};
  if (!wasTyped) {
    result.status = UserSwitchStatus::notPermitted;
    result.message = "Auto-unlock needs Accessibility; enter the password on the Mac.";
  }
  result.secureInputActive = users.secureInputActive();
  return result;
}

UserSwitchResult switchResult(UserSessionManager& users, std::uint32_t uid, const SwitchOutcome& outcome) {
  UserSwitchResult result{.uid = uid, .status = UserSwitchStatus::switched};
  if (const auto* failure = std::get_if<switchOutcome::Failed>(&outcome)) {
    result.status = UserSwitchStatus::failed;
    result.message = failure->message;
  } else if (std::holds_alternative<switchOutcome::Unavailable>(outcome)) {
    result.status = UserSwitchStatus::unavailable;
    result.message = "No Fast User Switching mechanism is available on this Mac.";
  }
  result.secureInputActive = users.secureInputActive();
  return result;
}

}  // namespace

void findUserList(const std::shared_ptr<HostServices>& services, RoutedSession::Answer answer) {
  services->platform.scheduler->execute(
      [services, answer = std::move(answer)] { answer(message::UserList{services->buildUserAccounts()}); });
}

void switchUser(RoutedSession& session, const SwitchUserRequest& request) {
  const auto& users = session.services()->users;
  const SwitchOutcome outcome = users->switchTo(request.uid);
  session.reply(message::UserSwitchResult{switchResult(*users, request.uid, outcome)});
  if (!std::holds_alternative<switchOutcome::Switched>(outcome)) return;
  if (!request.unlockPassword || request.unlockPassword->isEmpty()) return;
  Scheduler& scheduler = *session.services()->platform.scheduler;
  scheduler.schedule(scheduler.now() + unlockDelay, [weak = session.sink(), users, uid = request.uid,
                                                     password = *request.unlockPassword]() mutable {
    const auto sink = weak.lock();
    if (!sink) return;
    const bool wasTyped = users->attemptUnlockAfterSwitch(uid, std::move(password));
    sink->sendControl(message::UserSwitchResult{unlockResult(*users, uid, wasTyped)});
  });
}

void unlockSession(RoutedSession& session, const SecretText& password) {
  session.services()->platform.scheduler->execute(
      [weak = session.sink(), users = session.services()->users, password = SecretText(password)]() mutable {
        const bool wasTyped = users->attemptUnlock(std::move(password));
        if (const auto sink = weak.lock())
          sink->sendControl(message::UserSwitchResult{unlockResult(*users, users->ownUserID(), wasTyped)});
      });
}

void verifyCredentials(RoutedSession& session, const CredentialCheck& check) {
  session.services()->users->verifyCredentials(
      check.username, check.password, [weak = session.sink(), username = check.username](bool isValid) {
        if (const auto sink = weak.lock())
          sink->sendControl(message::CredentialResult{{.username = username, .valid = isValid}});
      });
}

}  // namespace quorl
