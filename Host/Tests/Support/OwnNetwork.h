// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sched.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace quorl::test {

/// Runs `work` in a network namespace of its own, whose loopback is down. Returns false without the right to
/// make one.
inline bool inOwnNetwork(const std::function<void()>& work) {
  bool mayRun = false;
  std::thread([&] {
    mayRun = ::unshare(CLONE_NEWNET) == 0;
    if (mayRun) work();
  }).join();
  return mayRun;
}

/// The command ip(8), in the namespace of the calling thread.
inline void ip(const std::string& arguments) {
  EXPECT_EQ(std::system(("ip " + arguments).c_str()), 0) << arguments;
}

}  // namespace quorl::test
