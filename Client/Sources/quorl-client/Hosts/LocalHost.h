// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <quorl-client/Base/Waiter.h>

/// The host on this machine, without a connection to it.
namespace quorl::client {

/// The version of the host that runs in this session (property Version of dev.vek.quorl.host on the session
/// bus). Absent without a bus or a host, or if the host does not answer within two seconds.
std::optional<std::string> runningHostVersion();

/// The version of the package quorl-host that dpkg has installed. Absent if dpkg does not know it as
/// installed or does not answer within two seconds. Fails only if the wait is interrupted.
Outcome<std::optional<std::string>> installedHostVersion(Waiter& waiter);

}  // namespace quorl::client
