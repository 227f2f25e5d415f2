// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <memory>

namespace quorl {

/// Bytes per second that a client's link is known to deliver; 0 while unknown. It changes as the link does
/// and outlives the client, so that reading it holds nothing of a session.
using DeliveredRate = std::shared_ptr<const std::atomic<double>>;

}  // namespace quorl
