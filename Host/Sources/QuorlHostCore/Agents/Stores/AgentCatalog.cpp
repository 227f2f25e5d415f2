// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>

#include <algorithm>
#include <array>

#include <QuorlHostCore/Storage/SmallJSONFile.h>

namespace quorl {

namespace {

constexpr const char* fileName = "agent-catalog.json";

// The built-in entries differ in the last byte only.
UUID builtinID(std::uint8_t number) {
  return UUID{{0x0B, 0x01, 0x11, 0xA0, 0, 0, 0x40, 0, 0xA0, 0, 0, 0, 0, 0, 0, number}};
}

bool isBuiltin(const UUID& id) {
  return id == builtinID(1) || id == builtinID(2);
}

// Former built-in entries, which files may still contain.
bool isRetired(const UUID& id) {
  return id == builtinID(3) || id == builtinID(4) || id == builtinID(5);
}

}  // namespace

std::vector<AgentCatalogEntry> AgentCatalog::builtinEntries(const std::string& homeDirectory) {
  return {{.id = builtinID(1),
           .name = "Claude Code",
           .command = "claude",
           .workingDirectory = homeDirectory,
           .env = {},
           .builtin = true,
           .symbol = "sparkles"},
          {.id = builtinID(2),
           .name = "Codex",
           .command = "codex",
           .workingDirectory = homeDirectory,
           .env = {},
           .builtin = true,
           .symbol = "chevron.left.forwardslash.chevron.right"}};
}

AgentCatalog::AgentCatalog(Scheduler& scheduler, std::shared_ptr<FileStore> files,
                           const std::string& directory, std::string homeDirectory)
    : queue_(scheduler, "quorl.agentcatalog", QueueRank::store),
      files_(std::move(files)),
      directory_(directory),
      homeDirectory_(std::move(homeDirectory)) {
  queue_.sync([this] {
    queue_.assertCurrent();
    load();
  });
}

void AgentCatalog::load() {
  entries_ = builtinEntries(homeDirectory_);
  std::optional<std::vector<AgentCatalogEntry>> stored;
  queue_.scheduler().blocking(
      [&] { stored = SmallJSONFile::read<std::vector<AgentCatalogEntry>>(*files_, directory_, fileName); });
  if (!stored) return;
  for (AgentCatalogEntry& entry : *stored)
    if (!isBuiltin(entry.id) && !isRetired(entry.id)) entries_.push_back(std::move(entry));
}

void AgentCatalog::persist() {
  queue_.scheduler().blocking([this] {
    queue_.assertCurrent();
    SmallJSONFile::write(*files_, directory_, fileName, entries_);
  });
}

std::vector<AgentCatalogEntry> AgentCatalog::all() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return entries_;
  });
}

std::optional<AgentCatalogEntry> AgentCatalog::entry(const UUID& id) const {
  return queue_.sync([&]() -> std::optional<AgentCatalogEntry> {
    queue_.assertCurrent();
    const auto found = std::ranges::find(entries_, id, &AgentCatalogEntry::id);
    if (found == entries_.end()) return std::nullopt;
    return *found;
  });
}

std::vector<AgentCatalogEntry> AgentCatalog::upsert(const AgentCatalogEntry& entry) {
  return queue_.sync([&] {
    queue_.assertCurrent();
    if (isBuiltin(entry.id)) return entries_;
    const auto found = std::ranges::find(entries_, entry.id, &AgentCatalogEntry::id);
    if (found != entries_.end()) {
      *found = entry;
    } else {
      entries_.push_back(entry);
    }
    persist();
    return entries_;
  });
}

std::vector<AgentCatalogEntry> AgentCatalog::remove(const UUID& id) {
  return queue_.sync([&] {
    queue_.assertCurrent();
    if (isBuiltin(id)) return entries_;
    std::erase_if(entries_, [&](const AgentCatalogEntry& entry) { return entry.id == id; });
    persist();
    return entries_;
  });
}

}  // namespace quorl
