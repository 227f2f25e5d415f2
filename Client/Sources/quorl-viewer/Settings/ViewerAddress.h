// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <quorl-client/Hosts/ViewerAddress.h>

/// The client checks the same texts before it starts the viewer.
namespace quorl::viewer {

namespace viewTarget = client::viewTarget;
using client::parseTarget;
using client::textOf;
using client::ViewerAddress;
using client::ViewTarget;

}  // namespace quorl::viewer
