// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include <QuorlKit/Protocol/Handshake.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Hosts/HostBook.h>

namespace quorl::viewer {

/// Sends large frames to a host over a short-lived session of its own, so that no input waits for them. At
/// most one is on its way and one waits; a newer one replaces the one that waits.
///
/// *Queue*: `send` on any thread; `done` is called on a thread of the sender. *Ownership*: the link's.
/// *Lifetime*: the destructor ends a transfer and returns within about a second.
class BulkSender {
 public:
  /// Empty: the host has handled the frame.
  using Done = std::function<void(std::optional<client::ClientError>)>;

  BulkSender(client::PairedHost host, DeviceInfo device, Done done);
  ~BulkSender();
  BulkSender(const BulkSender&) = delete;
  BulkSender& operator=(const BulkSender&) = delete;

  void send(OutgoingFrame frame);

 private:
  void run();
  client::Outcome<void> deliver(const OutgoingFrame& frame);

  const client::PairedHost host_;
  const DeviceInfo device_;
  const Done done_;
  Descriptor interrupt_;

  std::mutex lock_;
  std::optional<OutgoingFrame> next_;
  bool isRunning_ = false;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace quorl::viewer
