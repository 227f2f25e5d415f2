// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Runtime/HostRuntime.h>

#include <set>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>
#include <QuorlHostCore/Clipboard/ClipboardSync.h>
#include <QuorlHostCore/Display/StreamSession.h>
#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Power/SystemControl.h>
#include <QuorlHostCore/Relay/HTTPRelay.h>
#include <QuorlHostCore/Scanner/ServiceScanner.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Sound/AudioStreamer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

namespace {

std::shared_ptr<PairingState> makePairing(const HostCoreConfig& config, const Platform& platform) {
  return config.fixedPIN
             ? std::make_shared<PairingState>(*platform.scheduler, platform.random, *config.fixedPIN)
             : std::make_shared<PairingState>(*platform.scheduler, platform.random);
}

bool runsTerminals(const Platform& platform) {
  return platform.pseudoTerminals && platform.processes && platform.terminals && platform.sessionFiles;
}

std::shared_ptr<AgentCatalog> makeCatalog(const Platform& platform, const std::string& directory) {
  if (!runsTerminals(platform)) return nullptr;
  return std::make_shared<AgentCatalog>(*platform.scheduler, platform.files, directory,
                                        platform.sessionFiles->homeDirectory());
}

std::shared_ptr<HostExtrasStore> makeExtras(const Platform& platform, const std::string& directory) {
  if (!runsTerminals(platform)) return nullptr;
  return std::make_shared<HostExtrasStore>(*platform.scheduler, platform.files, directory);
}

std::shared_ptr<AgentRegistry> makeAgents(const HostCoreConfig& config, const Platform& platform,
                                          AgentRegistry::Stores stores) {
  if (!runsTerminals(platform)) return nullptr;
  stores.bridge = std::make_shared<TerminalBridge>(
      *platform.scheduler, platform.terminals,
      config.enableTerminalBridge ? TerminalBridgeUse::enabled : TerminalBridgeUse::disabled);
  return AgentRegistry::make(platform, std::move(stores));
}

// A host of another user has the standard ports.
std::shared_ptr<ServiceScanner> makeScanner(const HostCoreConfig& config, const Platform& platform) {
  if (!platform.listeningSockets) return nullptr;
  const std::set<std::uint16_t> hostPorts{WireProtocol::defaultPort, HostCoreConfig::menuBar.relayPort,
                                          config.port, config.relayPort};
  return std::make_shared<ServiceScanner>(
      *platform.scheduler, platform.listeningSockets, platform.network,
      ServiceScanner::Ports{.own = hostPorts, .only = config.scannedPorts});
}

std::shared_ptr<ClipboardSync> makeClipboard(const Platform& platform) {
  if (!platform.pasteboard || !platform.images) return nullptr;
  return std::make_shared<ClipboardSync>(*platform.scheduler, platform.pasteboard, platform.images);
}

std::shared_ptr<AudioStreamer> makeAudio(const Platform& platform) {
  if (!platform.sound || !platform.soundCompressors) return nullptr;
  return std::make_shared<AudioStreamer>(*platform.scheduler, platform.screen, platform.sound,
                                         platform.soundCompressors);
}

// The ports of the services that clients are shown.
AllowedPorts allowedPorts(std::weak_ptr<const HostServices> weak) {
  return [weak = std::move(weak)] {
    std::set<std::uint16_t> ports;
    const auto services = weak.lock();
    if (!services) return ports;
    for (const ServiceDescriptor& service : services->serviceList()) ports.insert(service.port);
    return ports;
  };
}

std::shared_ptr<FileArea> makeFileArea(const Platform& platform) {
  return platform.userFiles ? std::make_shared<FileArea>(platform.userFiles) : nullptr;
}

ClientStreamFactory streamFactory(const Platform& platform) {
  return [platform, originals = std::make_shared<OriginalFrames>()](const StartStream& request,
                                                                    std::weak_ptr<StreamOutputSink> sink) {
    return std::make_shared<StreamSession>(request, std::move(sink), platform, originals);
  };
}

}  // namespace

std::shared_ptr<HostRuntime> HostRuntime::make(HostCoreConfig config, Platform platform) {
  const std::shared_ptr<HostRuntime> runtime(new HostRuntime(std::move(config), std::move(platform)));
  runtime->wire();
  return runtime;
}

HostRuntime::HostRuntime(HostCoreConfig config, Platform platform)
    : config_(std::move(config)),
      scheduler_(*platform.scheduler),
      trustStore_(std::make_shared<TrustStore>(platform, config_.trustStoreDirectory)),
      pairing_(makePairing(config_, platform)),
      stateProvider_(std::make_shared<HostStateProvider>(platform)),
      catalog_(makeCatalog(platform, trustStore_->directory())),
      extras_(makeExtras(platform, trustStore_->directory())),
      agents_(
          makeAgents(config_, platform,
                     {.trustStore = trustStore_, .catalog = catalog_, .extras = extras_, .bridge = nullptr})),
      scanner_(makeScanner(config_, platform)),
      clipboard_(makeClipboard(platform)),
      audio_(makeAudio(platform)),
      injector_(
          std::make_shared<InputInjector>(platform, [store = trustStore_] { return store->settings(); })),
      network_(std::make_shared<NetworkStatusProvider>(
          platform, HostPorts{.session = config_.port, .relay = config_.relayPort})),
      users_(std::make_shared<UserSessionManager>(platform, injector_)),
      system_(std::make_shared<SystemControl>(platform)),
      services_(std::make_shared<HostServices>(HostServices{.trustStore = trustStore_,
                                                            .pairing = pairing_,
                                                            .stateProvider = stateProvider_,
                                                            .clipboard = clipboard_,
                                                            .audio = audio_,
                                                            .scanner = scanner_,
                                                            .fileArea = makeFileArea(platform),
                                                            .injector = injector_,
                                                            .network = network_,
                                                            .users = users_,
                                                            .system = system_,
                                                            .agents = agents_,
                                                            .catalog = catalog_,
                                                            .extras = extras_,
                                                            .platform = platform,
                                                            .makeStream = streamFactory(platform),
                                                            .broadcast = nullptr})),
      server_(std::make_shared<ConnectionServer>(
          services_,
          ConnectionServer::Configuration{.port = config_.port,
                                          .advertiseBonjour = config_.advertiseBonjour,
                                          .portHandoff = config_.multiUserPortHandoff},
          users_)),
      relay_(std::make_shared<HTTPRelay>(platform, trustStore_, allowedPorts(services_), config_.relayPort)) {
}

HostRuntime::~HostRuntime() = default;

void HostRuntime::wire() {
  services_->broadcast = [weak = std::weak_ptr(server_)](const ControlMessage& message) {
    if (const auto server = weak.lock()) server->broadcastControl(message);
  };
  stateProvider_->setBroadcastState([weak = std::weak_ptr(server_)](HostState state, std::uint64_t content) {
    if (const auto server = weak.lock())
      server->broadcastControl(message::HostState{std::move(state)}, content);
  });
  stateProvider_->setBroadcastMetrics([broadcast = services_->broadcast](const SystemMetrics& metrics) {
    broadcast(message::Metrics{metrics});
  });
  server_->onAudienceChanged([provider = stateProvider_](bool hasClients) {
    provider->setAudience(hasClients ? HostStateProvider::Audience::present
                                     : HostStateProvider::Audience::absent);
  });
  if (scanner_) wireServiceList();
  observeNetwork([] {});
  if (config_.multiUserPortHandoff && config_.enableRelay) followPortOwnership();
  if (agents_) agents_->setBroadcastControl(services_->broadcast);
  if (clipboard_)
    clipboard_->setBroadcast([broadcast = services_->broadcast](const ClipboardPayload& payload) {
      broadcast(message::Clipboard{payload});
    });
}

void HostRuntime::observeNetwork(std::function<void()> changed) {
  network_->setOnChange(
      [broadcast = services_->broadcast, changed = std::move(changed)](const NetworkStatus& status) {
        broadcast(message::NetworkStatus{status});
        changed();
      });
}

void HostRuntime::wireServiceList() {
  scanner_->setOnChange([weak = std::weak_ptr(services_)](const ServiceScanner::Services& scanned) {
    if (const auto services = weak.lock())
      services->broadcast(message::ServiceList{services->withCustomServices(scanned)});
  });
}

void HostRuntime::followPortOwnership() {
  server_->onOwnershipChanged([weak = weak_from_this()](bool owns) {
    const auto runtime = weak.lock();
    if (!runtime) return;
    if (owns)
      runtime->relay_->start();
    else
      runtime->relay_->stop();
  });
}

std::expected<void, PortError> HostRuntime::start() {
  if (auto started = server_->start(); !started) return started;
  if (config_.enableRelay && !config_.multiUserPortHandoff) relay_->start();
  if (config_.enableBackgroundServices) stateProvider_->start();
  if (config_.enableBackgroundServices && agents_) agents_->start();
  if (config_.enableBackgroundServices && scanner_) scanner_->start();
  if (config_.enableBackgroundServices && clipboard_) clipboard_->start();
  if (config_.enableBackgroundServices) network_->start();
  if (config_.multiUserPortHandoff) {
    users_->observeConsoleUser([weak = weak_from_this()](const std::optional<std::string>&) {
      const auto runtime = weak.lock();
      if (!runtime) return;
      runtime->server_->consoleUserChanged();
      runtime->broadcastUserList();
    });
  }
  Log::app.info(fmt::format("quorl-host core up — port {}, relay {}", config_.port,
                            config_.enableRelay ? "47901" : "off"));
  return {};
}

// Reading the accounts may take seconds, so that it runs on no service's queue.
void HostRuntime::broadcastUserList() {
  scheduler_.execute([weak = std::weak_ptr(server_), services = services_] {
    const auto server = weak.lock();
    if (!server) return;
    server->broadcastControl(message::UserList{services->buildUserAccounts()});
  });
}

void HostRuntime::restore(HandOver handOver) {
  pairing_->restore(std::move(handOver.pairing));
  if (agents_) agents_->restore(std::move(handOver.agents));
}

// The clients first: what they have typed reaches the agents, and none of them sees an agent stop printing.
HandOver HostRuntime::handOver(const std::function<void()>& clientsHaveLeft) {
  server_->stop();
  if (config_.enableRelay) relay_->stop();
  if (config_.enableBackgroundServices) stateProvider_->stop();
  if (scanner_) scanner_->stop();
  if (clipboard_) clipboard_->stop();
  network_->stop();
  server_->waitForClosing();
  clientsHaveLeft();
  system_->releaseAll();
  HandOver handOver{.pairing = pairing_->snapshot(), .agents = {}};
  if (agents_) handOver.agents = agents_->release();
  return handOver;
}

void HostRuntime::stop(std::function<void()> agentsHaveEnded) {
  server_->stop();
  if (config_.enableRelay) relay_->stop();
  if (config_.enableBackgroundServices) stateProvider_->stop();
  if (agents_) {
    agents_->stop(std::move(agentsHaveEnded));
  } else {
    agentsHaveEnded();
  }
  if (scanner_) scanner_->stop();
  if (clipboard_) clipboard_->stop();
  network_->stop();
  // The process may end right after this; `bye` must have left by then.
  server_->waitForClosing();
  system_->releaseAll();
}

}  // namespace quorl
