// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A descriptor that holds on to the process which has the number now, and becomes readable when it ends
/// (pidfd_open(2)). Not open, with `errno` set, when the system refuses one: ENOSYS before Linux 5.3, ESRCH
/// without such a process.
Descriptor openProcess(pid_t pid);

/// Sends a signal to the process that the descriptor holds, whoever has its number by now
/// (pidfd_send_signal(2)). Says whether it was sent.
bool signalProcess(const Descriptor& process, int signal);

}  // namespace quorl
