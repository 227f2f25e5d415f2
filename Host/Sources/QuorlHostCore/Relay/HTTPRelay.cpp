// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/HTTPRelay.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

std::shared_ptr<Network> networkOf(const Platform& platform) {
  return platform.relayNetwork ? platform.relayNetwork : platform.network;
}

Scheduler& schedulerOf(const Platform& platform) {
  Scheduler* const own = platform.relayNetwork ? platform.relayNetwork->socketScheduler() : nullptr;
  return own ? *own : *platform.scheduler;
}

}  // namespace

HTTPRelay::HTTPRelay(const Platform& platform, std::shared_ptr<TrustStore> trustStore,
                     AllowedPorts allowedPorts, std::uint16_t listenPort)
    : queue_(schedulerOf(platform), "quorl.relay", QueueRank::connection),
      services_(
          std::make_shared<const RelayServices>(RelayServices{.network = networkOf(platform),
                                                              .trustStore = std::move(trustStore),
                                                              .allowedPorts = std::move(allowedPorts)})),
      listenPort_(listenPort) {}

void HTTPRelay::start() {
  queue_.sync([this] {
    queue_.assertCurrent();
    dropListener();
    listen();
  });
}

void HTTPRelay::stop() {
  queue_.sync([this] {
    queue_.assertCurrent();
    dropListener();
  });
}

std::size_t HTTPRelay::activeConnections() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return active_.size();
  });
}

void HTTPRelay::listen() {
  const std::uint64_t number = ++listenerNumber_;
  // Drops callbacks of a listener that was cancelled before they ran.
  const auto ifCurrent = [weak = weak_from_this(), number](auto&& use) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->listenerNumber_ == number) use(*self);
  };
  Network::ListenerHandlers handlers;
  handlers.connection = [ifCurrent](std::unique_ptr<NetworkConnection> client) {
    ifCurrent([&](HTTPRelay& relay) QUORL_NO_ANALYSIS { relay.accept(std::move(client)); });
  };
  handlers.state = [ifCurrent](const NetworkListener::State& state) {
    ifCurrent([&](HTTPRelay&) {
      if (const auto* failed = std::get_if<NetworkListener::Failed>(&state))
        Log::relay.error(fmt::format("relay listener failed: {}", failed->error.description));
    });
  };
  auto listener = services_->network->listen(listenPort_, queue_, std::move(handlers));
  if (!listener) {
    Log::relay.error(fmt::format("relay listener failed to open port {}", listenPort_));
    return;
  }
  listener_ = std::move(*listener);
  Log::relay.v(fmt::format("HTTP relay on :{}", listenPort_));
}

void HTTPRelay::dropListener() {
  ++listenerNumber_;
  // The listener may be calling at this moment, so it is destroyed later.
  if (const std::shared_ptr<NetworkListener> old = std::move(listener_)) {
    old->cancel();
    queue_.async([old] {});
  }
}

void HTTPRelay::accept(std::unique_ptr<NetworkConnection> client) {
  const Serial serial = ++lastSerial_;
  const auto connection = std::make_shared<RelayConnection>(queue_.scheduler(), std::move(client), services_);
  connection->onClose([weak = weak_from_this(), serial] {
    if (const auto self = weak.lock())
      self->queue_.async([self, serial] {
        self->queue_.assertCurrent();
        self->remove(serial);
      });
  });
  active_.emplace(serial, connection);
  connection->start();
  deadlines_.push_back({queue_.now() + headTimeout, serial});
  if (!sweepTimer_.isPending()) armSweep();
}

void HTTPRelay::remove(Serial serial) {
  active_.erase(serial);
  while (!deadlines_.empty() && !active_.contains(deadlines_.front().serial)) deadlines_.pop_front();
}

void HTTPRelay::armSweep() {
  if (deadlines_.empty()) return;
  sweepTimer_ = queue_.after(deadlines_.front().when - queue_.now(), [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->sweep();
  });
}

void HTTPRelay::sweep() {
  const MonotonicTime now = queue_.now();
  while (!deadlines_.empty() && deadlines_.front().when <= now) {
    const auto connection = active_.find(deadlines_.front().serial);
    if (connection != active_.end()) connection->second->endHandshake();
    deadlines_.pop_front();
  }
  armSweep();
}

}  // namespace quorl
