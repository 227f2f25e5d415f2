// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quorl {

/// Who sits at the machine.
class LoginSessions {
 public:
  virtual ~LoginSessions() = default;

  /// The user whose session holds the console now; nothing at a login window. May block shortly.
  virtual std::optional<std::string> consoleUser() = 0;

  /// The user this process runs as.
  virtual std::string ownUserName() = 0;

  /// Calls `changed`, on a thread of the adapter's, whenever the console user may have changed. Set once.
  /// Where changes cannot be observed, silently never calls.
  virtual void observeConsoleUser(std::function<void()> changed) = 0;
};

}  // namespace quorl
