// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/ProcessDescriptor.h>

#include <sys/syscall.h>
#include <unistd.h>

namespace quorl {

// pidfd_open(2) and pidfd_send_signal(2), both by number: glibc 2.36 declares them without C linkage.

Descriptor openProcess(pid_t pid) {
  return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

bool signalProcess(const Descriptor& process, int signal) {
  return ::syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0) == 0;
}

}  // namespace quorl
