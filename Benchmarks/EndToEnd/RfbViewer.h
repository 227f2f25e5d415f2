// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include "Viewer.h"

namespace quorl::bench {

/// A client of the Remote Framebuffer protocol (RFC 6143) by libvncclient, for the peers.
/// Nothing when no server answers at the port in time.
std::unique_ptr<Viewer> connectRfbViewer(std::string name, std::uint16_t port, std::string encodings);

}  // namespace quorl::bench
