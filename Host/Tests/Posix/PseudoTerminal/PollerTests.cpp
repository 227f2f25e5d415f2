// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalPoller.h>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>

#include <gtest/gtest.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;

// Makes the call fail in this process as on an older kernel.
bool loseSystemCall(unsigned number) {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (ENOSYS & SECCOMP_RET_DATA)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{.len = 4, .filter = filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// 0, or the number of the failed step.
int waitOnAnOldKernel() {
  if (!loseSystemCall(SYS_epoll_pwait2)) return 1;
  PseudoTerminalPoller poller;
  const auto begin = std::chrono::steady_clock::now();
  if (!poller.wait(40ms).empty()) return 2;
  if (std::chrono::steady_clock::now() - begin < 40ms) return 3;
  int ends[2];
  if (::pipe(ends) != 0) return 4;
  poller.addTerminal(ends[0], 7);
  poller.arm(ends[0], 7, {.reading = true, .writing = false});
  if (::write(ends[1], "x", 1) != 1) return 5;
  const auto& events = poller.wait(std::nullopt);
  return events.size() == 1 && events[0].token == 7 ? 0 : 6;
}

TEST(PseudoTerminalPoller, waitsOnAKernelWithoutTheFinerCall) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(waitOnAnOldKernel());
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace quorl
