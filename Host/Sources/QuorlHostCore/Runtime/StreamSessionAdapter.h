// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/ClientStream.h>

namespace quorl {

/// Makes streams that capture and encode on this platform.
ClientStreamFactory streamSessionFactory(const Platform& platform);

}  // namespace quorl
