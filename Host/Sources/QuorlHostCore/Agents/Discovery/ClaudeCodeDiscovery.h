// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/DiscoveredSessions.h>
#include <QuorlHostCore/Agents/Discovery/SessionFileCache.h>
#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl {

/// Finds the past sessions of Claude Code: one "UUID.jsonl" per session, in one folder per project under
/// ".claude/projects" in the user's home. Only the end of a transcript is read, and read again only after the
/// file has changed.
///
/// *Queue*: the owner's, one call at a time.
/// *Blocking*: calls read the disk; use them as blocking work.
/// *Ownership*: shares the files.
class ClaudeCodeDiscovery {
 public:
  explicit ClaudeCodeDiscovery(std::shared_ptr<SessionFiles> files) : files_(std::move(files)) {}

  /// The newest `limit` sessions, newest first. The first `previewLimit` have a preview.
  std::vector<DiscoveredClaudeSession> scan(std::size_t limit, std::size_t previewLimit);
  /// The preview of one session, from the first project folder that has it; `projectPath` is not used.
  std::optional<std::string> preview(const std::string& sessionID, const std::string& projectPath);
  std::string decodeProjectPath(std::string_view name) const;

 private:
  struct Found {
    std::string sessionID;
    std::size_t project = 0;  // index of its folder
    SessionFiles::Entry file;
  };

  std::string root() const;
  void collect(const std::string& folder, std::size_t project, std::vector<Found>& found) const;
  std::optional<std::string> previewOf(const std::string& path, const SessionFiles::Entry& file);

  std::shared_ptr<SessionFiles> files_;
  SessionFileCache<std::optional<std::string>> previews_;
};

}  // namespace quorl
