// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/ClientStream.h>
#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Models/UserModels.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

class AgentCatalog;
class AgentRegistry;
class AudioStreamer;
class ClipboardSync;
class FileArea;
class HostExtrasStore;
class HostStateProvider;
class InputInjector;
class NetworkStatusProvider;
class PairingState;
class ServiceScanner;
class SystemControl;
class TrustStore;
class UserSessionManager;

/// The services of the host that a connection uses.
///
/// *Queue*: read from any thread; only the runtime writes, before anything is started.
/// *Ownership*: shared by the runtime, the server and its connections.
struct HostServices {
  std::shared_ptr<TrustStore> trustStore;
  std::shared_ptr<PairingState> pairing;
  std::shared_ptr<HostStateProvider> stateProvider;
  std::shared_ptr<ClipboardSync> clipboard;  // absent on a platform without a clipboard
  std::shared_ptr<AudioStreamer> audio;      // absent on a platform without sound
  std::shared_ptr<ServiceScanner> scanner;   // absent on a platform that cannot list its sockets
  std::shared_ptr<FileArea> fileArea;        // absent on a platform without files
  std::shared_ptr<InputInjector> injector;
  std::shared_ptr<NetworkStatusProvider> network;
  std::shared_ptr<UserSessionManager> users;
  std::shared_ptr<SystemControl> system;
  std::shared_ptr<AgentRegistry> agents;  // these three are absent on a platform without terminals
  std::shared_ptr<AgentCatalog> catalog;
  std::shared_ptr<HostExtrasStore> extras;
  Platform platform;
  ClientStreamFactory makeStream;
  std::function<void(const ControlMessage&)> broadcast;  // to all authenticated clients; set by the runtime

  /// May wait for the platform for seconds, as blocking work.
  std::vector<UserAccount> buildUserAccounts() const;
  /// The web services that clients are shown: those of the scanner, then the user's own. Waits for the
  /// scanner and the store.
  std::vector<ServiceDescriptor> serviceList() const;
  /// The same with this list of the scanner, for callers on its queue. Waits for the store.
  std::vector<ServiceDescriptor> withCustomServices(std::vector<ServiceDescriptor> scanned) const;
};

}  // namespace quorl
