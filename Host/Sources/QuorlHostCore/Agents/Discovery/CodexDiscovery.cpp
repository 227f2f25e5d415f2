// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/CodexDiscovery.h>

#include <algorithm>
#include <utility>

namespace quorl {

// Links to folders are not followed, because they could form a cycle.
std::vector<CodexDiscovery::Found> CodexDiscovery::walk() const {
  std::vector<Found> found;
  std::vector<std::string> pending{files_->homeDirectory() + "/.codex/sessions"};
  while (!pending.empty()) {
    const std::string folder = std::move(pending.back());
    pending.pop_back();
    auto entries = files_->list(folder);
    if (!entries) continue;
    for (SessionFiles::Entry& entry : *entries) {
      std::string path = folder + "/" + entry.name;
      if (entry.isDirectory && !entry.isLink) {
        pending.push_back(std::move(path));
      } else if (entry.isRegular && entry.name.ends_with(".jsonl")) {
        found.push_back({.path = std::move(path), .file = std::move(entry)});
      }
    }
  }
  return found;
}

// Reads from the newest file on and no further than needed, because files without meta do not count.
std::vector<DiscoveredAgentSession> CodexDiscovery::scan(std::size_t limit) {
  std::vector<Found> found = walk();
  std::ranges::sort(found, [](const Found& a, const Found& b) {
    // Names break ties, so that a refresh does not reorder the list.
    return a.file.modified != b.file.modified ? a.file.modified > b.file.modified : a.path < b.path;
  });
  std::vector<DiscoveredAgentSession> sessions;
  for (const Found& item : found) {
    if (sessions.size() >= limit) break;
    std::optional<Transcript::CodexMeta> meta = metaOf(item);
    if (!meta) continue;
    sessions.push_back({.tool = AgentTool::codex,
                        .sessionID = std::move(meta->sessionID),
                        .projectPath = std::move(meta->workingDirectory),
                        .modified = item.file.modified,
                        .preview = std::nullopt});
  }
  metas_.forgetOthers();
  return sessions;
}

std::optional<Transcript::CodexMeta> CodexDiscovery::metaOf(const Found& found) {
  if (const auto* remembered = metas_.find(found.path, found.file)) return *remembered;
  const auto beginning = files_->read(found.path, 0, Transcript::windowSize);
  if (!beginning) return std::nullopt;
  std::optional<Transcript::CodexMeta> meta = Transcript::codexMeta(*beginning);
  metas_.remember(found.path, found.file, meta);
  return meta;
}

std::optional<Transcript::CodexMeta> CodexDiscovery::sessionMeta(const std::string& file) const {
  const auto beginning = files_->read(file, 0, Transcript::windowSize);
  if (!beginning) return std::nullopt;
  return Transcript::codexMeta(*beginning);
}

}  // namespace quorl
