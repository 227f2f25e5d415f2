// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/Eventually.h>

#include <condition_variable>
#include <mutex>

namespace quorl::test {

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  std::mutex mutex;
  std::condition_variable never;
  std::unique_lock lock(mutex);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return condition();
    never.wait_for(lock, std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace quorl::test
