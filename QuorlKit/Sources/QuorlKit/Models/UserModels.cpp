// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Models/UserModels.h>

namespace quorl {

UserAccount::SessionState UserAccount::sessionState() const {
  if (isActive) return SessionState::active;
  return isLoggedIn ? SessionState::signedInBackground : SessionState::signedOut;
}

}  // namespace quorl
