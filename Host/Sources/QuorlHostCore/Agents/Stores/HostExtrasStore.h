// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlKit/Models/AgentCatalogModels.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// What the user added by hand: web services in "custom-services.json", and the bundle identifiers of
/// graphical agents in "gui-agent-bundles.json". Each file is read once and written at every change of its
/// list.
///
/// *Queue*: "quorl.hostextras"; every operation may be called from any thread.
/// *Blocking*: every operation waits for the queue, and changes also for the disk.
/// *Ownership*: shared by the runtime, the registry, the relay and connections.
/// *Lifetime*: the runtime's.
class HostExtrasStore {
 public:
  /// `directory`: the host's own folder. Loads at once.
  HostExtrasStore(Scheduler& scheduler, std::shared_ptr<FileStore> files, const std::string& directory);

  std::vector<CustomService> customServices() const;
  /// Appends the service, and removes any other one with its identity.
  void addService(const CustomService& service);
  void removeService(const UUID& id);
  /// One for each custom service with a port or a host, in the order of the list.
  std::vector<ServiceDescriptor> serviceDescriptors() const;

  std::vector<std::string> guiAgentBundles() const;
  /// Trims the items and drops empty and repeated ones.
  void setGUIAgentBundles(const std::vector<std::string>& list);

  static std::optional<ServiceDescriptor> descriptorOf(const CustomService& service);

 private:
  void load() QUORL_REQUIRES(queue_);
  void persistServices() QUORL_REQUIRES(queue_);
  void persistBundles() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<FileStore> files_;
  const std::string directory_;
  std::vector<CustomService> services_ QUORL_GUARDED_BY(queue_);
  std::vector<std::string> bundles_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
