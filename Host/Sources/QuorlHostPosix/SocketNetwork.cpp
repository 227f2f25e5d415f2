// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketNetwork.h>

#include <QuorlHostPosix/IoLoop.h>
#include <QuorlHostPosix/SocketAddress.h>
#include <QuorlHostPosix/SocketConnection.h>
#include <QuorlHostPosix/SocketDatagramSender.h>
#include <QuorlHostPosix/SocketListener.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl {

SocketNetwork::SocketNetwork() : loop_(std::make_shared<IoLoop>()) {}

SocketNetwork::SocketNetwork(Scheduler& base) : SocketNetwork() {
  loop_->makeScheduler(base);
}

Scheduler* SocketNetwork::socketScheduler() {
  return loop_->scheduler();
}

SocketNetwork::~SocketNetwork() {
  stop();
}

void SocketNetwork::stop() {
  loop_->stop();
}

std::expected<std::unique_ptr<NetworkListener>, PortError> SocketNetwork::listen(std::uint16_t port,
                                                                                 SerialQueue queue,
                                                                                 ListenerHandlers handlers) {
  QUORL_CHECK(port != 0, "the port of a listener is chosen by its owner");
  auto socket = listenOnAllAddresses(port);
  if (!socket && !socket.error().made) return std::unexpected(socket.error().error);
  auto listener = std::make_shared<SocketListener>(loop_, std::move(queue), std::move(handlers));
  if (socket)
    listener->begin(std::move(*socket), port);
  else
    listener->reportFailure(socket.error().error);
  return std::make_unique<SocketListenerHandle>(std::move(listener));
}

std::unique_ptr<NetworkConnection> SocketNetwork::connect(const HostPort& peer) {
  return std::make_unique<SocketConnectionHandle>(std::make_shared<SocketConnection>(loop_, peer));
}

std::unique_ptr<DatagramSender> SocketNetwork::openDatagramSender(const HostPort& peer,
                                                                  const std::optional<std::string>& localHost,
                                                                  SerialQueue queue) {
  auto sender = std::make_shared<SocketDatagramSender>(loop_);
  const auto local = localHost ? socketAddressFor({*localHost, 0}, NameLookup::numericOnly) : std::nullopt;
  if (const auto address = socketAddressFor(peer, NameLookup::numericOnly)) {
    sender->open(*address, local);
  } else {
    queue.async([weak = std::weak_ptr(sender), peer, local, &scheduler = queue.scheduler()] {
      std::optional<SocketAddress> found;
      scheduler.blocking([&] { found = socketAddressFor(peer, NameLookup::resolve); });
      const auto strong = weak.lock();
      if (strong && found) strong->open(*found, local);
    });
  }
  return std::make_unique<SocketDatagramHandle>(std::move(sender));
}

bool SocketNetwork::waitUntilConnectionsEnd(std::chrono::milliseconds limit) {
  return loop_->waitUntilConnectionsEnd(limit);
}

}  // namespace quorl
