// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>

#include <pthread.h>

namespace quorl {

/// Blocks all signals on this thread during its lifetime. Threads started meanwhile have none: signals are
/// handled on the application loop's thread.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace quorl
