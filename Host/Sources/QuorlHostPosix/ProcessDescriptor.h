// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A descriptor of the process that has this number now. It becomes readable when the process ends. Not open,
/// with `errno` set, when the system refuses: ESRCH without such a process, ENOSYS if it has no such
/// descriptors (Linux before 5.3). Each system implements these functions.
Descriptor openProcess(pid_t pid);

/// Sends a signal to the process of the descriptor, even if another process has its number now. Returns
/// whether it was sent.
bool signalProcess(const Descriptor& process, int signal);

}  // namespace quorl
