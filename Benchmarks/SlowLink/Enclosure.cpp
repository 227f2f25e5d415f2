// SPDX-License-Identifier: GPL-3.0-or-later
#include "Enclosure.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace quorl::bench {

namespace {

pid_t enclosed = -1;

void endEnclosed(int) {
  kill(enclosed, SIGKILL);
}

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

bool isInstalled(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

void checkMachine() {
  if (geteuid() != 0) throw std::runtime_error("needs root, to create network namespaces");
  const int tun = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
  if (tun < 0) fail("needs /dev/net/tun for the delay line");
  close(tun);
  for (const char* program : {"ip", "tc", "Xvfb"})
    if (!isInstalled(program)) throw std::runtime_error(std::string("needs the program ") + program);
}

// A process namespace numbers its processes itself, so it needs its own /proc and its own X server lock
// files.
void separateMounts() {
  if (unshare(CLONE_NEWNS) != 0) fail("cannot create a mount namespace");
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) fail("cannot separate the mounts");
  if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
    fail("cannot mount /proc");
  if (mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) fail("cannot mount /tmp");
}

[[noreturn]] void awaitEnclosed(int gate) {
  struct sigaction action{};
  action.sa_handler = endEnclosed;
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(number, &action, nullptr);
  [[maybe_unused]] const auto opened = write(gate, "", 1);
  int status = 0;
  while (waitpid(enclosed, &status, 0) < 0 && errno == EINTR) {
  }
  _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 130);
}

}  // namespace

void enterEnclosure() {
  checkMachine();
  if (unshare(CLONE_NEWPID) != 0) fail("cannot create a process namespace");
  std::array<int, 2> gate{};
  if (pipe2(gate.data(), O_CLOEXEC) != 0) fail("cannot create a pipe");
  enclosed = fork();
  if (enclosed < 0) fail("cannot fork");
  if (enclosed > 0) awaitEnclosed(gate[1]);
  // Wait until the parent's handlers are installed: from then on the child ends however the parent ends.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  close(gate[1]);
  char opened = 0;
  if (read(gate[0], &opened, 1) != 1) _exit(130);
  close(gate[0]);
  separateMounts();
}

}  // namespace quorl::bench
