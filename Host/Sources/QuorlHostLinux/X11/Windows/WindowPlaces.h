// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

/// The places of several windows, in their order; absent for a window that is gone. Waits for the server,
/// once for each level of the window tree.
std::vector<std::optional<WindowPlace>> findPlaces(X11Connection& connection,
                                                   const std::vector<std::uint32_t>& windows);

}  // namespace quorl
