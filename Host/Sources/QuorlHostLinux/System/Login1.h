// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostLinux/System/Bus.h>

namespace quorl {

// Calls of org.freedesktop.login1, the D-Bus API of systemd-logind (org.freedesktop.login1(5)).

namespace login1 {

inline constexpr const char* service = "org.freedesktop.login1";

BusObject manager();
BusObject session(std::string path);

/// The object of this process's session. A host that was started by the user's service manager has no session
/// of its own; then it is the user's graphical one.
std::optional<std::string> ownSession(sd_bus* bus);

struct ListedSession {
  std::string id;
  std::uint32_t uid = 0;
  std::string user;
  std::string seat;  // empty without one
  std::string path;
};
/// Nothing if there is no login manager.
std::optional<std::vector<ListedSession>> listSessions(sd_bus* bus);

/// Whether a person uses a session of this class (sd-login(3)); the others are login windows, locks and the
/// service managers of users.
bool isOfAUser(const std::string& sessionClass);

}  // namespace login1

}  // namespace quorl
