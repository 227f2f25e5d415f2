// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/ConnectionServer.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Ports/LoginSessions.h>
#include <QuorlHostCore/Ports/MachineFacts.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Session/PortDecision.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

ConnectionServer::ConnectionServer(std::shared_ptr<HostServices> services, Configuration configuration,
                                   std::shared_ptr<UserSessionManager> users)
    : queue_(*services->platform.scheduler, "quorl.server", QueueRank::server),
      services_(std::move(services)),
      configuration_(configuration),
      users_(std::move(users)) {}

void ConnectionServer::onClientsChanged(std::function<void()> callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onClientsChanged_ = std::move(callback);
  });
}

void ConnectionServer::onReady(std::function<void(std::uint16_t)> callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onReady_ = std::move(callback);
  });
}

void ConnectionServer::onOwnershipChanged(std::function<void(bool)> callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onOwnershipChanged_ = std::move(callback);
  });
}

void ConnectionServer::onAudienceChanged(std::function<void(bool)> callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onAudienceChanged_ = std::move(callback);
  });
}

std::expected<void, PortError> ConnectionServer::start() {
  if (!configuration_.portHandoff) {
    return queue_.sync([this] {
      queue_.assertCurrent();
      return bindListener();
    });
  }
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->reconcilePort();
  });
  return {};
}

void ConnectionServer::stop() {
  const auto clients = queue_.sync([this] {
    queue_.assertCurrent();
    isStopped_ = true;
    retryWork_.cancel();
    dropListener();
    std::vector<std::shared_ptr<ClientConnection>> all;
    for (const auto& [identity, client] : byID_) {
      all.push_back(client);
      closing_.push_back(client);
    }
    return all;
  });
  for (const auto& client : clients) client->close();
}

void ConnectionServer::waitForClosing() {
  const auto clients = queue_.sync([this] {
    queue_.assertCurrent();
    return std::exchange(closing_, {});
  });
  for (const auto& weak : clients)
    if (const auto client = weak.lock()) client->queue().sync([] {});
}

void ConnectionServer::consoleUserChanged() {
  if (!configuration_.portHandoff) return;
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->reconcilePort();
  });
}

// The port

void ConnectionServer::reconcilePort() {
  if (isStopped_) return;
  PortSituation situation{.portHandoff = configuration_.portHandoff,
                          .hasListener = listener_ != nullptr,
                          .consoleUser = std::nullopt,
                          .ownUser = {}};
  if (situation.portHandoff) {
    situation.consoleUser = users_->consoleUser();
    situation.ownUser = users_->ownUserName();
  }
  switch (decidePort(situation)) {
    case PortDecision::leave:
      break;
    case PortDecision::bind:
      attemptBind();
      break;
    case PortDecision::release:
      releaseListener();
      break;
  }
}

std::expected<void, PortError> ConnectionServer::bindListener() {
  const std::uint64_t number = ++listenerNumber_;
  // Drops callbacks of a listener that was released before they ran.
  const auto ifCurrent = [weak = weak_from_this(), number](auto&& use) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->listenerNumber_ == number) use(*self);
  };
  Network::ListenerHandlers handlers;
  handlers.connection = [ifCurrent](std::unique_ptr<NetworkConnection> connection) {
    ifCurrent([&](ConnectionServer& server) QUORL_NO_ANALYSIS { server.accept(std::move(connection)); });
  };
  handlers.state = [ifCurrent](const NetworkListener::State& state) {
    ifCurrent([&](ConnectionServer& server) QUORL_NO_ANALYSIS {
      if (const auto* ready = std::get_if<NetworkListener::Ready>(&state)) server.listenerReady(ready->port);
      if (const auto* failed = std::get_if<NetworkListener::Failed>(&state))
        server.listenerFailed(failed->error);
    });
  };
  auto listener = services_->platform.network->listen(configuration_.port, queue_, std::move(handlers));
  if (!listener) return std::unexpected(listener.error());
  listener_ = std::move(*listener);
  return {};
}

void ConnectionServer::attemptBind() {
  retryWork_.cancel();
  const auto bound = bindListener();
  if (bound) return;
  Log::server.v(fmt::format("bind :{} busy, retrying: {}", configuration_.port, bound.error().description));
  scheduleRebind();
}

void ConnectionServer::scheduleRebind() {
  dropListener();
  retryWork_ = queue_.after(rebindDelay, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->reconcilePort();
  });
}

void ConnectionServer::releaseListener() {
  retryWork_.cancel();
  dropListener();
  ownsPort_ = false;
  Log::server.info(fmt::format("released public port :{} — not the console session", configuration_.port));
  if (onOwnershipChanged_) onOwnershipChanged_(false);
  for (const auto& [identity, client] : byID_) client->close();
}

void ConnectionServer::dropListener() {
  registration_.reset();
  ++listenerNumber_;
  // The listener may be calling at this moment, so it is destroyed later.
  if (const std::shared_ptr<NetworkListener> old = std::move(listener_)) {
    old->cancel();
    queue_.async([old] {});
  }
}

void ConnectionServer::listenerReady(std::uint16_t port) {
  if (ownsPort_) return;
  ownsPort_ = true;
  const std::uint16_t bound = port != 0 ? port : configuration_.port;
  if (configuration_.advertiseBonjour) {
    std::string name;
    queue_.scheduler().blocking([&] { name = services_->platform.machine->computerName(); });
    registration_ = services_->platform.advertiser->advertise(name.empty() ? "Mac" : name,
                                                              std::string(WireProtocol::bonjourType), bound);
  }
  Log::server.info(fmt::format("listening on :{}", bound));
  if (onReady_) onReady_(bound);
  if (onOwnershipChanged_) onOwnershipChanged_(true);
}

// Without handoff the process keeps running without a listener, and serves the clients that it has.
void ConnectionServer::listenerFailed(const PortError& error) {
  Log::server.error(fmt::format("listener failed: {}", error.description));
  registration_.reset();
  if (!configuration_.portHandoff) return;
  ownsPort_ = false;
  scheduleRebind();
}

// The clients

void ConnectionServer::accept(std::unique_ptr<NetworkConnection> connection) {
  Log::server.event(fmt::format("TCP client connected: {}", printed(connection->remoteEndpoint())));
  const auto client = std::make_shared<ClientConnection>(std::move(connection), services_);
  // Both post, because a connection never waits for the server.
  const auto later = [weak = weak_from_this()](Identity identity, void (ConnectionServer::*act)(Identity)) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.async([self, identity, act] { ((*self).*act)(identity); });
  };
  client->onClose([later](ClientConnection& closed) { later(&closed, &ConnectionServer::remove); });
  client->onAuthenticated(
      [later](ClientConnection& proved) { later(&proved, &ConnectionServer::noteAuthenticated); });
  // At once: a release or a stop that already waits on the queue closes this client too.
  enter(client);
  client->start();
}

void ConnectionServer::enter(std::shared_ptr<ClientConnection> client) {
  const Identity identity = client.get();
  byID_[identity] = std::move(client);
  notifyClientsChanged();
}

void ConnectionServer::noteAuthenticated(Identity client) {
  const bool isFirst = authenticated_.empty();
  if (byID_.contains(client)) authenticated_.insert(client);
  if (isFirst && !authenticated_.empty() && onAudienceChanged_) onAudienceChanged_(true);
  notifyClientsChanged();
}

void ConnectionServer::remove(Identity client) {
  const bool wasAuthenticated = authenticated_.erase(client) > 0;
  byID_.erase(client);
  if (wasAuthenticated && authenticated_.empty() && onAudienceChanged_) onAudienceChanged_(false);
  notifyClientsChanged();
}

void ConnectionServer::notifyClientsChanged() {
  if (onClientsChanged_) onClientsChanged_();
}

std::vector<std::shared_ptr<ClientConnection>> ConnectionServer::authenticatedClients() const {
  std::vector<std::shared_ptr<ClientConnection>> clients;
  for (const auto& [identity, client] : byID_)
    if (authenticated_.contains(identity)) clients.push_back(client);
  return clients;
}

void ConnectionServer::broadcastControl(const ControlMessage& message, RepeatedState::Version content) {
  // Encoded once, on the caller's thread; all clients share the bytes.
  auto frame = OutgoingFrame::control(message);
  if (!frame) return;
  queue_.async([self = shared_from_this(), frame = std::move(*frame), key = stateKeyOf(message), content] {
    self->queue_.assertCurrent();
    for (const auto& client : self->authenticatedClients()) client->sendState(frame, key, content);
  });
}

bool ConnectionServer::ownsPublicPort() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return ownsPort_;
  });
}

std::optional<std::string> ConnectionServer::currentConsoleUser() const {
  return users_->consoleUser();
}

void ConnectionServer::clientDescriptions(std::function<void(std::vector<std::string>)> callback) {
  queue_.async([self = shared_from_this(), callback = std::move(callback)] {
    self->queue_.assertCurrent();
    std::vector<std::string> descriptions;
    for (const auto& client : self->authenticatedClients())
      descriptions.push_back(client->displayDescription());
    std::ranges::sort(descriptions);
    callback(std::move(descriptions));
  });
}

void ConnectionServer::clientSummaries(std::function<void(std::vector<ClientSummary>)> callback) {
  queue_.async([self = shared_from_this(), callback = std::move(callback)] {
    self->queue_.assertCurrent();
    std::vector<ClientSummary> summaries;
    for (const auto& client : self->authenticatedClients()) summaries.push_back(client->summary());
    std::ranges::sort(summaries, {}, [](const ClientSummary& summary) {
      return std::tie(summary.since, summary.name, summary.endpoint);
    });
    callback(std::move(summaries));
  });
}

ConnectionServer::Register ConnectionServer::clientRegister() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return Register{
        .connections = byID_.size(),
        .authenticated = authenticated_.size(),
        .isConsistent = std::ranges::all_of(
            authenticated_, [this](Identity client) QUORL_NO_ANALYSIS { return byID_.contains(client); })};
  });
}

}  // namespace quorl
