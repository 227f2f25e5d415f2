// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Commands/Arguments.h>
#include <quorl-client/Hosts/HostBook.h>

namespace quorl::client {

/// The words after the viewer's name for a command line of `watch`, checked. Without --host in it the viewer
/// asks which host. Fails with `usage` for words that mean nothing, with `refused` for a host that is not
/// paired.
Outcome<std::vector<std::string>> viewerArguments(const Arguments& arguments,
                                                  const HostBookContents& contents);

/// Replaces this process by the viewer beside this program, else by the first one in PATH. Returns only if
/// there is none.
ClientError becomeViewer(const std::vector<std::string>& arguments);

}  // namespace quorl::client
