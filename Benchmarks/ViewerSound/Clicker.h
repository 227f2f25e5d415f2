// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <string>
#include <thread>

struct pa_simple;

namespace quorl::bench {

/// A program that plays silence, and a click of 30 ms on request.
///
/// *Queue*: a thread of its own plays; `click` may be called by any.
class Clicker {
 public:
  /// Plays on the default output of the server. Throws if the server refuses.
  explicit Clicker(const std::string& server);
  Clicker(const Clicker&) = delete;
  Clicker& operator=(const Clicker&) = delete;
  ~Clicker();

  /// With the next block, which is heard some 20 ms later.
  void click() { isWanted_ = true; }

 private:
  void play(const std::stop_token& stop);

  pa_simple* stream_ = nullptr;
  std::atomic<bool> isWanted_ = false;
  std::jthread thread_;
};

}  // namespace quorl::bench
