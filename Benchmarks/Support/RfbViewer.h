// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include "Viewer.h"

namespace quorl::bench {

/// A client of the Remote Framebuffer protocol (RFC 6143), for the peers; uses libvncclient. Null if no
/// server answers in time. Connects on the caller's thread, and therefore in its network namespace.
std::unique_ptr<Viewer> connectRfbViewer(std::string name, std::uint16_t port, std::string encodings,
                                         const std::string& address = "127.0.0.1");

}  // namespace quorl::bench
