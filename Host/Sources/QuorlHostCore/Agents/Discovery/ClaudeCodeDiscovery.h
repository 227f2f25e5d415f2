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

/// Finds the past sessions of Claude Code, one "UUID.jsonl" each in a folder per project under
/// ".claude/projects" in the user's home. Transcripts are read at their end only, and again only when they
/// have changed.
///
/// *Queue*: its owner's, one call at a time; calls block while the disk is read.
/// *Ownership*: shares the files.
class ClaudeCodeDiscovery {
 public:
  explicit ClaudeCodeDiscovery(std::shared_ptr<SessionFiles> files) : files_(std::move(files)) {}

  /// The newest `limit` sessions, newest first, the first `previewLimit` of them with a preview.
  std::vector<DiscoveredClaudeSession> scan(std::size_t limit, std::size_t previewLimit);
  /// The preview of one session, in whichever project folder it is found first; `projectPath` takes no part.
  std::optional<std::string> preview(const std::string& sessionID, const std::string& projectPath);
  std::string decodeProjectPath(std::string_view name) const;

 private:
  struct Found {
    std::string sessionID;
    std::size_t project = 0;  // which folder
    SessionFiles::Entry file;
  };

  std::string root() const;
  void collect(const std::string& folder, std::size_t project, std::vector<Found>& found) const;
  std::optional<std::string> previewOf(const std::string& path, const SessionFiles::Entry& file);

  std::shared_ptr<SessionFiles> files_;
  SessionFileCache<std::optional<std::string>> previews_;
};

}  // namespace quorl
