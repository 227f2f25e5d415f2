// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Discovery/DiscoveredSessions.h>
#include <QuorlHostCore/Agents/Discovery/SessionFileCache.h>
#include <QuorlHostCore/Agents/Discovery/Transcript.h>
#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl {

/// Finds the past sessions of Codex: one ".jsonl" file per session, below ".codex/sessions" in the user's
/// home. Only the first line of a file is read, and read again only after the file has changed.
///
/// *Queue*: the owner's, one call at a time.
/// *Blocking*: calls read the disk; use them as blocking work.
/// *Ownership*: shares the files.
class CodexDiscovery {
 public:
  explicit CodexDiscovery(std::shared_ptr<SessionFiles> files) : files_(std::move(files)) {}

  /// The newest `limit` sessions, newest first, without previews.
  std::vector<DiscoveredAgentSession> scan(std::size_t limit);
  std::optional<Transcript::CodexMeta> sessionMeta(const std::string& file) const;

 private:
  struct Found {
    std::string path;
    SessionFiles::Entry file;
  };

  std::vector<Found> walk() const;
  std::optional<Transcript::CodexMeta> metaOf(const Found& found);

  std::shared_ptr<SessionFiles> files_;
  SessionFileCache<std::optional<Transcript::CodexMeta>> metas_;
};

}  // namespace quorl
