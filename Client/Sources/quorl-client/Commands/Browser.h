// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// Passes a URL to the desktop's browser by xdg-open.
///
/// *Blocking*: until xdg-open ends, which on some desktops is the end of the browser. An interruption leaves
/// it running.
Outcome<void> openInBrowser(const std::string& url, Waiter& waiter);

}  // namespace quorl::client
