// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <functional>
#include <memory>

#include <QuorlHostCore/Handover/HandOver.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlHostCore/Runtime/HostCoreConfig.h>

namespace quorl {

class AgentCatalog;
class AgentRegistry;
class AudioStreamer;
class ClipboardSync;
class ConnectionServer;
class HTTPRelay;
class HostExtrasStore;
class HostStateProvider;
class InputInjector;
class NetworkStatusProvider;
class PairingState;
class ServiceScanner;
class SystemControl;
class TrustStore;
class UserSessionManager;
struct HostServices;

/// The composition root: builds every long-lived service from one configuration, connects them, and starts
/// and stops them in a fixed order.
///
/// *Queue*: none. `start` and `stop` are called once each, on the main thread.
/// *Blocking*: `stop` waits until every client was sent `bye`.
/// *Ownership*: owns the services; callbacks hold it and the server weakly.
/// *Lifetime*: the process's; the scheduler outlives it.
class HostRuntime : public std::enable_shared_from_this<HostRuntime> {
 public:
  static std::shared_ptr<HostRuntime> make(HostCoreConfig config, Platform platform);
  HostRuntime(const HostRuntime&) = delete;
  HostRuntime& operator=(const HostRuntime&) = delete;
  ~HostRuntime();

  /// Fails only if the server does; then nothing was started.
  std::expected<void, PortError> start();
  /// `changed` is called after each change of the network's state, on its queue. Called before `start`.
  void observeNetwork(std::function<void()> changed);
  /// Continues what an earlier program image of this process left. Called before `start`.
  void restore(HandOver handOver);
  /// Ends the service of this program image, instead of `stop`: disconnects the clients, as before a restart,
  /// and gives the agents up without ending them. `clientsHaveLeft` waits until the last frames have gone
  /// out; the agents go on being read until it returns. Returns what `restore` takes.
  HandOver handOver(const std::function<void()>& clientsHaveLeft);
  /// Returns after `bye` has gone out to every client. Agents get time to end; `agentsHaveEnded` is called
  /// once, on any thread, after the last one has.
  void stop(std::function<void()> agentsHaveEnded = [] {});

  const HostCoreConfig& config() const { return config_; }
  const std::shared_ptr<TrustStore>& trustStore() const { return trustStore_; }
  const std::shared_ptr<PairingState>& pairing() const { return pairing_; }
  const std::shared_ptr<NetworkStatusProvider>& network() const { return network_; }
  const std::shared_ptr<ConnectionServer>& server() const { return server_; }
  const std::shared_ptr<SystemControl>& system() const { return system_; }

 private:
  HostRuntime(HostCoreConfig config, Platform platform);
  void wire();
  void wireServiceList();
  void followPortOwnership();
  void broadcastUserList();

  const HostCoreConfig config_;
  Scheduler& scheduler_;
  const std::shared_ptr<TrustStore> trustStore_;
  const std::shared_ptr<PairingState> pairing_;
  const std::shared_ptr<HostStateProvider> stateProvider_;
  const std::shared_ptr<AgentCatalog> catalog_;  // these three are absent on a platform without terminals
  const std::shared_ptr<HostExtrasStore> extras_;
  const std::shared_ptr<AgentRegistry> agents_;
  const std::shared_ptr<ServiceScanner> scanner_;  // these three are absent on a platform without the service
  const std::shared_ptr<ClipboardSync> clipboard_;
  const std::shared_ptr<AudioStreamer> audio_;
  const std::shared_ptr<InputInjector> injector_;
  const std::shared_ptr<NetworkStatusProvider> network_;
  const std::shared_ptr<UserSessionManager> users_;
  const std::shared_ptr<SystemControl> system_;
  const std::shared_ptr<HostServices> services_;
  const std::shared_ptr<ConnectionServer> server_;
  const std::shared_ptr<HTTPRelay> relay_;
};

}  // namespace quorl
