// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlKit/Models/AgentCatalogModels.h>

namespace quorl {

/// The launch entries that a client shows as buttons: two built-in ones, which come first and cannot be
/// changed, then the user's. Stored in "agent-catalog.json", which is read once and written at every change.
///
/// *Queue*: "quorl.agentcatalog"; every operation may be called from any thread.
/// *Blocking*: every operation waits for the queue, and changes also for the disk.
/// *Ownership*: shared by the runtime, the registry and connections.
/// *Lifetime*: the runtime's.
class AgentCatalog {
 public:
  /// `directory`: the host's own folder. Loads at once.
  AgentCatalog(Scheduler& scheduler, std::shared_ptr<FileStore> files, const std::string& directory,
               std::string homeDirectory);

  std::vector<AgentCatalogEntry> all() const;
  std::optional<AgentCatalogEntry> entry(const UUID& id) const;
  /// Both return the new list. For a built-in entry they change and write nothing.
  std::vector<AgentCatalogEntry> upsert(const AgentCatalogEntry& entry);
  std::vector<AgentCatalogEntry> remove(const UUID& id);

  static std::vector<AgentCatalogEntry> builtinEntries(const std::string& homeDirectory);

 private:
  void load() QUORL_REQUIRES(queue_);
  void persist() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<FileStore> files_;
  const std::string directory_;
  const std::string homeDirectory_;
  std::vector<AgentCatalogEntry> entries_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
