// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/Platform.h>

namespace quorl {

/// Fills in the ports that show and drive the screen: `permissions`, `screen`, `events`, `compressors`. One
/// of two sources is compiled: the one for X11, and one for builds without a desktop, whose display list is
/// empty.
void addDesktopAdapters(Platform& platform);

}  // namespace quorl
