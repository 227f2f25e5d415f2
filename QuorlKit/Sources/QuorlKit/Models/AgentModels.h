// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/TaggedUnion.h>
#include <QuorlKit/Foundation/URL.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// What a row of the agent list is: a command that the host spawned; a resumed session, or a past one found
/// on disk; a running graphical application; a custom web service; an adopted terminal tab.
enum class AgentKind : std::uint8_t { pty, claudeCode, guiApp, httpService, externalTerminal };
BOOST_DESCRIBE_ENUM(AgentKind, pty, claudeCode, guiApp, httpService, externalTerminal)

enum class AgentStatus : std::uint8_t { running, idle, waitingInput, exited, error };
BOOST_DESCRIBE_ENUM(AgentStatus, running, idle, waitingInput, exited, error)

/// Which command-line agent a record belongs to. Unknown text decodes to `other`, so that an older peer
/// accepts a tool that was added later.
enum class AgentTool : std::uint8_t { claude, codex, opencode, other };
BOOST_DESCRIBE_ENUM(AgentTool, claude, codex, opencode, other)

template <>
inline constexpr std::optional<AgentTool> unknownRawValue<AgentTool> = AgentTool::other;

/// "Claude Code", "Codex", "OpenCode", "Agent".
std::string_view label(AgentTool tool);
/// The tool whose name is a substring of the command line, ignoring case: "opencode" before "claude" before
/// "codex". Nothing, not `other`, if there is none.
std::optional<AgentTool> inferAgentTool(std::string_view command);

/// The terminal application that hosts an external agent.
enum class TerminalKind : std::uint8_t { terminalApp, iterm, unknown };
BOOST_DESCRIBE_ENUM(TerminalKind, terminalApp, iterm, unknown)

/// One row of the agent list.
struct AgentDescriptor {
  UUID id;  // stable; also names the row in AgentCommand and TerminalPayload
  AgentKind kind = AgentKind::pty;
  std::string name;
  std::string detail;  // second line: a command, a path, a bundle identifier, a URL
  AgentStatus status = AgentStatus::running;
  std::optional<std::int32_t> pid;
  std::optional<URL> url;               // of httpService rows
  std::optional<std::string> bundleID;  // of guiApp rows
  std::optional<Date> lastActivity;     // last output, or the session file's modification time
  std::optional<std::string> preview;   // one line of recent text
  std::optional<AgentTool> tool;
  std::optional<std::string> projectPath;  // absolute

  bool operator==(const AgentDescriptor&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentDescriptor, (),
                      (id, kind, name, detail, status, pid, url, bundleID, lastActivity, preview, tool,
                       projectPath))

/// What a client asks the host to start; the host also keeps it as a recent configuration.
struct AgentSpawnConfig {
  std::string displayName;
  std::string command;           // a shell command line
  std::string workingDirectory;  // may begin with a tilde
  std::map<std::string, std::string> env;

  /// A label for a shell command line: the program's name if the line begins with one, else the line itself,
  /// cut to 32 user-perceived characters (Unicode extended grapheme clusters, UAX #29).
  static std::string shortLabel(std::string_view command);

  bool operator==(const AgentSpawnConfig&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentSpawnConfig, (), (displayName, command, workingDirectory, env))

/// An agent process outside the host's own pseudo-terminals.
struct ExternalAgent {
  UUID id;  // derived from pid and tty
  std::int32_t pid = 0;
  std::string command;  // the process's command line
  std::string name;
  std::optional<std::string> tty;  // path of the terminal device
  TerminalKind terminal = TerminalKind::unknown;
  bool adoptable = false;  // whether the terminal bridge can reach the tab
  std::optional<std::string> cwd;

  /// The last path component of `cwd`, a trailing slash ignored.
  std::optional<std::string> projectName() const;

  bool operator==(const ExternalAgent&) const = default;
};
BOOST_DESCRIBE_STRUCT(ExternalAgent, (), (id, pid, command, name, tty, terminal, adoptable, cwd))

/// A web service, found by a scan or made from a CustomService.
struct ServiceDescriptor {
  std::uint16_t port = 0;
  std::string processName;
  std::int32_t pid = 0;
  std::optional<std::string> title;
  bool loopbackOnly = false;

  /// `processName`, a colon, the decimal port.
  std::string id() const;

  bool operator==(const ServiceDescriptor&) const = default;
};
BOOST_DESCRIBE_STRUCT(ServiceDescriptor, (), (port, processName, pid, title, loopbackOnly))

namespace agentCommand {

using Spawn = UnlabelledCase<"spawn", AgentSpawnConfig>;

struct AdoptClaudeSession {
  static constexpr std::string_view key = "adoptClaudeSession";
  std::string sessionID;
  std::string projectPath;

  bool operator==(const AdoptClaudeSession&) const = default;
};
BOOST_DESCRIBE_STRUCT(AdoptClaudeSession, (), (sessionID, projectPath))

struct Kill {
  static constexpr std::string_view key = "kill";
  UUID id;

  bool operator==(const Kill&) const = default;
};
BOOST_DESCRIBE_STRUCT(Kill, (), (id))

struct Prompt {
  static constexpr std::string_view key = "prompt";
  UUID id;
  std::string text;

  bool operator==(const Prompt&) const = default;
};
BOOST_DESCRIBE_STRUCT(Prompt, (), (id, text))

struct Write {
  static constexpr std::string_view key = "write";
  UUID id;
  Bytes data;

  bool operator==(const Write&) const = default;
};
BOOST_DESCRIBE_STRUCT(Write, (), (id, data))

struct Subscribe {
  static constexpr std::string_view key = "subscribe";
  UUID id;

  bool operator==(const Subscribe&) const = default;
};
BOOST_DESCRIBE_STRUCT(Subscribe, (), (id))

struct Unsubscribe {
  static constexpr std::string_view key = "unsubscribe";
  UUID id;

  bool operator==(const Unsubscribe&) const = default;
};
BOOST_DESCRIBE_STRUCT(Unsubscribe, (), (id))

struct ResizePTY {
  static constexpr std::string_view key = "resizePTY";
  UUID id;
  std::int64_t cols = 0;
  std::int64_t rows = 0;

  bool operator==(const ResizePTY&) const = default;
};
BOOST_DESCRIBE_STRUCT(ResizePTY, (), (id, cols, rows))

}  // namespace agentCommand

/// Requests of a client to the agent registry.
using AgentCommand = std::variant<agentCommand::Spawn, agentCommand::AdoptClaudeSession, agentCommand::Kill,
                                  agentCommand::Prompt, agentCommand::Write, agentCommand::Subscribe,
                                  agentCommand::Unsubscribe, agentCommand::ResizePTY>;

namespace agentEvent {

using Updated = UnlabelledCase<"updated", AgentDescriptor>;

struct Removed {
  static constexpr std::string_view key = "removed";
  UUID id;

  bool operator==(const Removed&) const = default;
};
BOOST_DESCRIBE_STRUCT(Removed, (), (id))

struct Attention {
  static constexpr std::string_view key = "attention";
  UUID id;
  std::string title;
  std::string body;

  bool operator==(const Attention&) const = default;
};
BOOST_DESCRIBE_STRUCT(Attention, (), (id, title, body))

}  // namespace agentEvent

/// Events for the client: a row has changed, a row has gone, an agent needs a human.
using AgentEvent = std::variant<agentEvent::Updated, agentEvent::Removed, agentEvent::Attention>;

}  // namespace quorl
