// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <QuorlKit/Models/Models.h>

#include "../Support/Viewer.h"

namespace quorl::bench {

/// A client of the host's protocol: pairs with the PIN and watches a target over TCP. Null if the host does
/// not answer or refuses; the reason is printed on standard error.
std::unique_ptr<Viewer> connectQuorlViewer(std::string name, std::uint16_t port, const std::string& pin,
                                           VideoCodec codec = VideoCodec::h264,
                                           const StreamTarget& target = streamTarget::Unified{});

}  // namespace quorl::bench
