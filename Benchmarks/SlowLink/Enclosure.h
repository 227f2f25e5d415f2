// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl::bench {

/// Continues in a child that is the first process of a new process namespace, with its own mounts and /tmp.
/// However the child or its parent ends, the kernel then ends every process started since and removes the
/// network namespaces and devices. Returns in the child only; the calling process waits for the child and
/// exits with its status. Call it before any thread is started.
///
/// Throws std::runtime_error that names what is missing.
void enterEnclosure();

}  // namespace quorl::bench
