// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A descriptor of the process that has this number now. It becomes readable when the process ends
/// (pidfd_open(2)). Not open, with `errno` set, when the system refuses: ENOSYS before Linux 5.3, ESRCH
/// without such a process.
Descriptor openProcess(pid_t pid);

/// Sends a signal to the process of the descriptor, even if another process has its number now
/// (pidfd_send_signal(2)). Returns whether it was sent.
bool signalProcess(const Descriptor& process, int signal);

}  // namespace quorl
