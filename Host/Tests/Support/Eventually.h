// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>

namespace quorl::test {

/// Waits until `condition` holds, on real threads and in real time, checking at short intervals until the
/// deadline. Returns whether it held. For conditions without a notification.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds deadline = std::chrono::seconds(10));

}  // namespace quorl::test
