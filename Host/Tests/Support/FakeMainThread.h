// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <utility>

#include <QuorlHostCore/Ports/MainThread.h>

namespace quorl::test {

/// A main thread that runs when a test says so.
class FakeMainThread : public MainThread {
 public:
  void post(std::move_only_function<void()> work) override { pending.push_back(std::move(work)); }

  void runPending() {
    while (!pending.empty()) {
      auto work = std::move(pending.front());
      pending.pop_front();
      work();
    }
  }

  std::deque<std::move_only_function<void()>> pending;
};

}  // namespace quorl::test
