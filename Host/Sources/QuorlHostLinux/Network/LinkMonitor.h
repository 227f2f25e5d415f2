// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <thread>

#include <QuorlHostPosix/Waker.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A thread that waits for the kernel's notifications of interfaces and IPv4 addresses (rtnetlink(7)).
///
/// *Queue*: `handler` runs on the thread.
/// *Lifetime*: destruction joins the thread, so that the handler is not called afterwards.
class LinkMonitor {
 public:
  explicit LinkMonitor(std::function<void()> handler);
  LinkMonitor(const LinkMonitor&) = delete;
  LinkMonitor& operator=(const LinkMonitor&) = delete;
  ~LinkMonitor();

  /// Whether the kernel gives notifications.
  bool isRunning() const { return thread_.joinable(); }

 private:
  void run();

  const std::function<void()> handler_;
  const Waker end_;
  Descriptor socket_;
  std::thread thread_;  // last: it uses all the above
};

}  // namespace quorl
