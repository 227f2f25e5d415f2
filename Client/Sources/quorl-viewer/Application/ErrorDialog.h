// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <quorl-client/Base/ClientError.h>

namespace quorl::viewer {

/// Shows why the viewer ends, where no terminal shows it. Waits until the person closes it.
///
/// *Queue*: the GUI thread. The application must exist.
void showErrorDialog(const client::ClientError& error);

}  // namespace quorl::viewer
