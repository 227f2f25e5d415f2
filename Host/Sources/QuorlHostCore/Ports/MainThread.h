// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace quorl {

/// The thread that runs the application loop.
class MainThread {
 public:
  virtual ~MainThread() = default;
  /// Runs `work` there later, in order. Work posted after the loop has ended is dropped.
  virtual void post(std::move_only_function<void()> work) = 0;
};

}  // namespace quorl
