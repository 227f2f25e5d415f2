// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <memory>

#include <QuorlHostCore/Ports/Network.h>

namespace quorl {

class IoLoop;

/// Real sockets. One thread watches all of them; reading, writing and callbacks happen on the queue of the
/// connection or listener. A connection that waits for bytes holds no buffer.
///
/// *Queue*: any thread.
/// *Ownership*: connections, listeners and senders may outlive it, but then do nothing.
/// *Lifetime*: destruction closes the sockets that still linger and ends the thread; it must come before the
/// end of every scheduler whose queues were used, and not on the thread of a callback.
class SocketNetwork final : public Network {
 public:
  SocketNetwork();
  /// With a scheduler on its own thread, which takes time and timers from `base`.
  explicit SocketNetwork(Scheduler& base);
  ~SocketNetwork() override;

  Scheduler* socketScheduler() override;
  std::expected<std::unique_ptr<NetworkListener>, PortError> listen(std::uint16_t port, SerialQueue queue,
                                                                    ListenerHandlers handlers) override;
  std::unique_ptr<NetworkConnection> connect(const HostPort& peer) override;
  std::unique_ptr<DatagramSender> openDatagramSender(const HostPort& peer,
                                                     const std::optional<std::string>& localHost,
                                                     SerialQueue queue) override;

  /// Ends the thread early: nothing is watched any more, and work of `socketScheduler` is dropped.
  void stop();

  /// Waits until every connection has been cancelled, for `limit` at most: at the end of the process
  /// the last frames have then left. Returns whether all were.
  bool waitUntilConnectionsEnd(std::chrono::milliseconds limit);

 private:
  std::shared_ptr<IoLoop> loop_;
};

}  // namespace quorl
