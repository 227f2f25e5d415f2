// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl::bench {

/// Continues in a child that is the first process of a process namespace, with mounts and a /tmp of its own.
/// However that child or its parent ends, the kernel ends every process started since, and the network
/// namespaces and devices go with them. Returns in the child only; the caller's process waits for it and
/// exits with its status. Call it before any thread is started.
///
/// Throws std::runtime_error with what is missing.
void enterEnclosure();

}  // namespace quorl::bench
