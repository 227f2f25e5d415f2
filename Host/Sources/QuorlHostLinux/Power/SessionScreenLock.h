// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/SystemPower.h>

namespace quorl {

/// Locks the screen of the host's session by the first of these that is there: the login manager, which asks
/// the session's locker; the screen saver of the desktop; the program of a locker.
///
/// *Queue*, *blocking*: those of the port.
class SessionScreenLock final : public ScreenLock {
 public:
  /// Starts a program by its path and returns whether it could be started.
  using Launch = std::function<bool(const std::vector<std::string>& arguments)>;

  explicit SessionScreenLock(Launch launch);
  SystemResult lock() override;

 private:
  const Launch launch_;
};

}  // namespace quorl
