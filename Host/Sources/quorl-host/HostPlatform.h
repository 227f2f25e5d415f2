// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostPosix/MainLoop.h>
#include <QuorlHostPosix/SocketNetwork.h>

namespace quorl {

/// The adapters of this system and their threads.
///
/// *Queue*: made and destroyed on the main thread.
/// *Lifetime*: destroyed after the runtime; the adapters end first, then the threads of their callbacks.
class HostPlatform {
 public:
  struct Settings {
    std::optional<std::uint64_t> descriptorLimit;  // for agents and applications, if it differs from our own
    std::string command;                           // the first element of the command line
    std::shared_ptr<DesktopNotifier> notifier;
  };
  explicit HostPlatform(Settings settings);
  ~HostPlatform() { relayNetwork_->stop(); }

  const Platform& platform() const { return platform_; }
  MainLoop& loop() { return *loop_; }
  /// Waits until the last frames have left, for `limit` at most.
  void waitForConnections(std::chrono::milliseconds limit) { network_->waitUntilConnectionsEnd(limit); }

 private:
  PoolScheduler scheduler_;
  std::shared_ptr<MainLoop> loop_;
  std::shared_ptr<SocketNetwork> network_;
  std::shared_ptr<SocketNetwork> relayNetwork_;
  Platform platform_;
};

}  // namespace quorl
