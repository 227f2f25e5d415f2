// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/PortError.h>

namespace quorl {

/// The system's text for an errno value.
PortError systemError(int number);

}  // namespace quorl
