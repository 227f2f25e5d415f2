// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <quorl-client/Base/ClientError.h>

namespace quorl::viewer {

/// Checks that there is a desktop for windows before Qt does, which would end the process with an abort.
/// Removes WAYLAND_DISPLAY from the environment if it leads nowhere, because Qt tries it first.
///
/// *Queue*: before the application exists. *Blocking*: until the X server answers.
/// *Errors*: `failure`, with what to do.
std::optional<client::ClientError> missingDesktop();

}  // namespace quorl::viewer
