// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Models/AgentModels.h>

namespace quorl::viewer {

/// An agent with a terminal, as a list shows it. Texts are printable and short.
struct AgentRow {
  UUID id;
  std::string name;
  std::string detail;  // its project, or its command
  bool isWaiting = false;

  bool operator==(const AgentRow&) const = default;
};

/// For a notification of the desktop. Texts are printable and short.
struct AgentNotice {
  UUID id;
  std::string title;
  std::string body;

  bool operator==(const AgentNotice&) const = default;
};

/// The host's agents that run in terminals, and which of them need a person.
///
/// *Queue*: pure; one thread at a time.
class AgentBoard {
 public:
  /// Beyond what any host runs. Further agents are ignored.
  static constexpr std::size_t mostAgents = 4'096;

  void take(const std::vector<AgentDescriptor>& agents);
  /// A notice when an agent begins to need a person.
  std::optional<AgentNotice> take(const AgentEvent& event);
  /// Without a connection nothing is known.
  void clear() { agents_.clear(); }

  /// Those that wait come first, then by name.
  std::vector<AgentRow> rows() const;
  std::size_t waiting() const;
  /// Whose terminal the key for it opens: of those that wait, the one that called for a person last.
  std::optional<UUID> next() const;

 private:
  std::vector<AgentDescriptor> agents_;
  std::optional<UUID> called_;
};

}  // namespace quorl::viewer
