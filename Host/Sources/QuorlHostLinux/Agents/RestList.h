// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace quorl {

/// The servers that did not answer in time. Each is skipped for a while, so that one that hangs does not
/// delay the others every time.
///
/// *Queue*: any, also several at once.
class RestList {
 public:
  using Clock = std::chrono::steady_clock;

  explicit RestList(std::chrono::milliseconds rest) : rest_(rest) {}

  void add(const std::string& server, Clock::time_point now = Clock::now());
  bool holds(const std::string& server, Clock::time_point now = Clock::now());

 private:
  const std::chrono::milliseconds rest_;
  std::mutex lock_;
  std::map<std::string, Clock::time_point> until_;
};

}  // namespace quorl
