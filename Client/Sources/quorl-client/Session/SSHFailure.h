// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>
#include <string>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Session/HostAddress.h>

namespace quorl::client {

/// Whether ssh may ask the person for a password, a passphrase or the trust in a key.
enum class Questions : std::uint8_t { allowed, refused };

/// The command that a person can type to see the same failure: "ssh -p 2222 ada@desk".
std::string sshCommandText(const HostAddress& address);

/// One sentence for an ssh that ended with `status`, made from the last lines of its standard error. The
/// texts are those of OpenSSH, which does not translate them.
ClientError sshFailure(const HostAddress& address, std::span<const std::string> lines, int status,
                       Questions questions);

}  // namespace quorl::client
