// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>

namespace quorl::test {

/// Waits until `condition` holds, on real threads and real time, looking again at short intervals; gives up
/// at the deadline. Says whether it held. For conditions that nothing can notify the test of.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds deadline = std::chrono::seconds(10));

}  // namespace quorl::test
