// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Ports/ServiceAdvertiser.h>
#include <QuorlHostCore/Session/ClientConnection.h>
#include <QuorlHostCore/Session/RepeatedState.h>
#include <QuorlHostCore/Shared/ClientSummary.h>

namespace quorl {

struct HostServices;
class UserSessionManager;

/// The session listener, its advertisement and the list of clients, to which it broadcasts. With port handoff
/// there is a listener only while this process's user owns the console, because the port is global to the
/// machine and each user has a host.
///
/// States, and what ends them:
///
/// - standing by: no listener. The console comes to the own user: bind.
/// - binding: a listener. Ready: owner. Failed: waiting. The console goes to another user: standing by.
/// - owner: a listener, `ownsPort_`. Failed: waiting. The console goes to another user: standing by.
/// - waiting: no listener, the retry timer runs. The timer fires: decide anew.
///
/// *Queue*: "quorl.server". Operations may be called from any thread but this queue. Callbacks run on it and
/// are set before `start`.
/// *Blocking*: reads wait for the queue. The queue may wait for a connection's queue, never the reverse.
/// *Ownership*: the runtime holds it; it holds the connections.
/// *Lifetime*: after `stop` it accepts nothing; connections close on their own queues.
class ConnectionServer : public std::enable_shared_from_this<ConnectionServer> {
 public:
  static constexpr std::chrono::milliseconds rebindDelay{750};

  struct Configuration {
    std::uint16_t port = 0;
    bool advertiseBonjour = false;
    bool portHandoff = false;
  };

  ConnectionServer(std::shared_ptr<HostServices> services, Configuration configuration,
                   std::shared_ptr<UserSessionManager> users);

  void onClientsChanged(std::function<void()> callback);
  void onReady(std::function<void(std::uint16_t port)> callback);
  void onOwnershipChanged(std::function<void(bool owns)> callback);
  /// Called when the first client is authenticated and when the last one has gone.
  void onAudienceChanged(std::function<void(bool hasClients)> callback);

  /// Fails only without handoff, if no listener can be created. With handoff it retries for ever.
  std::expected<void, PortError> start();
  /// Does not wait until the clients were told.
  void stop();
  /// Waits until the connections that `stop` closed have passed their last frames to the transport.
  void waitForClosing();

  /// Decides anew about the port. Does nothing without handoff.
  void consoleUserChanged();
  /// Sends to every authenticated client; encoded once. `content` is the number of a state's content, so that
  /// slow links do not carry it again; 0 where there is none.
  void broadcastControl(const ControlMessage& message, RepeatedState::Version content = 0);

  bool ownsPublicPort() const;
  std::optional<std::string> currentConsoleUser() const;
  /// Of the authenticated clients, ascending.
  void clientDescriptions(std::function<void(std::vector<std::string>)> callback);
  /// Of the authenticated clients, the oldest first.
  void clientSummaries(std::function<void(std::vector<ClientSummary>)> callback);

  struct Register {
    std::size_t connections = 0;
    std::size_t authenticated = 0;
    bool isConsistent = true;  // no authenticated client that is not a connection
  };
  Register clientRegister() const;

 private:
  using Identity = const ClientConnection*;

  void reconcilePort() QUORL_REQUIRES(queue_);
  std::expected<void, PortError> bindListener() QUORL_REQUIRES(queue_);
  void attemptBind() QUORL_REQUIRES(queue_);
  void scheduleRebind() QUORL_REQUIRES(queue_);
  void releaseListener() QUORL_REQUIRES(queue_);
  void dropListener() QUORL_REQUIRES(queue_);
  void listenerReady(std::uint16_t port) QUORL_REQUIRES(queue_);
  void listenerFailed(const PortError& error) QUORL_REQUIRES(queue_);
  void accept(std::unique_ptr<NetworkConnection> connection) QUORL_REQUIRES(queue_);
  void enter(std::shared_ptr<ClientConnection> client) QUORL_REQUIRES(queue_);
  void noteAuthenticated(Identity client) QUORL_REQUIRES(queue_);
  void remove(Identity client) QUORL_REQUIRES(queue_);
  void notifyClientsChanged() QUORL_REQUIRES(queue_);
  std::vector<std::shared_ptr<ClientConnection>> authenticatedClients() const QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<HostServices> services_;
  const Configuration configuration_;
  const std::shared_ptr<UserSessionManager> users_;

  std::unique_ptr<NetworkListener> listener_ QUORL_GUARDED_BY(queue_);
  std::uint64_t listenerNumber_ QUORL_GUARDED_BY(queue_) = 0;  // callbacks of others are dropped
  std::unique_ptr<ServiceAdvertiser::Registration> registration_ QUORL_GUARDED_BY(queue_);
  bool ownsPort_ QUORL_GUARDED_BY(queue_) = false;
  bool isStopped_ QUORL_GUARDED_BY(queue_) = false;
  Timer retryWork_ QUORL_GUARDED_BY(queue_);
  std::map<Identity, std::shared_ptr<ClientConnection>> byID_ QUORL_GUARDED_BY(queue_);
  std::set<Identity> authenticated_ QUORL_GUARDED_BY(queue_);
  std::vector<std::weak_ptr<ClientConnection>> closing_ QUORL_GUARDED_BY(queue_);
  std::function<void()> onClientsChanged_ QUORL_GUARDED_BY(queue_);
  std::function<void(std::uint16_t)> onReady_ QUORL_GUARDED_BY(queue_);
  std::function<void(bool)> onOwnershipChanged_ QUORL_GUARDED_BY(queue_);
  std::function<void(bool)> onAudienceChanged_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
