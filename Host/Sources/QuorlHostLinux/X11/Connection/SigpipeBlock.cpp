// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>

#include <pthread.h>
#include <ctime>

namespace quorl {

namespace {

sigset_t onlySigpipe() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool sigpipeIsPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

SigpipeBlock::SigpipeBlock() {
  const sigset_t set = onlySigpipe();
  pthread_sigmask(SIG_BLOCK, &set, &before_);
  wasPending_ = sigpipeIsPending();
}

SigpipeBlock::~SigpipeBlock() {
  if (!wasPending_ && sigpipeIsPending()) {
    const sigset_t set = onlySigpipe();
    const timespec atOnce{};
    sigtimedwait(&set, nullptr, &atOnce);
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace quorl
