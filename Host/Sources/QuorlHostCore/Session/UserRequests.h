// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Session/MessageRouter.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Models/UserModels.h>

namespace quorl {

// The routes of user sessions. All run on the connection's queue. `switchUser` waits there for the login
// manager; the others only post.

/// Finds the list of accounts. It may take seconds.
void findUserList(const std::shared_ptr<HostServices>& services, RoutedSession::Answer answer);
/// Sends one result, or two if the request has a password and the switch succeeds.
void switchUser(RoutedSession& session, const SwitchUserRequest& request);
void unlockSession(RoutedSession& session, const SecretText& password);
void verifyCredentials(RoutedSession& session, const CredentialCheck& check);

}  // namespace quorl
