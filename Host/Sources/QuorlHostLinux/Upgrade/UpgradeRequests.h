// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <thread>

#include <QuorlHostPosix/Pipe.h>
#include <QuorlHostPosix/Waker.h>

namespace quorl {

/// SIGURG as a request for an upgrade. Its default action is to be ignored (signal(7)), so it does no harm to
/// a process that has not installed the handler yet, or that is too old to know it.
///
/// *Queue*: made and destroyed on one thread; one at a time. `requested` runs on a thread of its own, which
/// sleeps between requests. *Blocking*: `requested` may block; it returns soon after the descriptor that it
/// is given becomes readable. *Lifetime*: destruction waits for `requested`, and has SIGURG ignored again.
class UpgradeRequests {
 public:
  explicit UpgradeRequests(std::function<void(int cancel)> requested);
  UpgradeRequests(const UpgradeRequests&) = delete;
  UpgradeRequests& operator=(const UpgradeRequests&) = delete;
  ~UpgradeRequests();

 private:
  void run();

  const std::function<void(int)> requested_;
  Pipe pipe_;
  Waker end_;
  std::thread thread_;
};

/// Keeps requests to end or to upgrade for the next program image, which inherits pending signals
/// (execve(2)). Called when this is the only thread. `raised`: a descriptor that is readable if a request to
/// end has arrived already.
void holdSignals(int raised);
/// The counterpart, after the handlers were installed and before there are other threads.
void deliverSignals();

}  // namespace quorl
