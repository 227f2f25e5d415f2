// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <memory>

namespace quorl {

/// The rate that a client's link is known to deliver, in bytes per second; 0 while unknown. It follows the
/// link and outlives the client, so that a reader does not keep the session alive.
using DeliveredRate = std::shared_ptr<const std::atomic<double>>;

}  // namespace quorl
