// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>
#include <cstdlib>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>

namespace quorl::client {
namespace {

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void printRows(Output& output, const std::vector<AgentDescriptor>& rows) {
  std::vector<UUID> ids;
  for (const auto& row : rows) ids.push_back(row.id);
  const auto length = distinctLength(ids);
  for (const auto& row : rows) output.line(rowLine(row, length, secondsSince1970()));
}

// Without --all the list has only the newest past sessions.
constexpr std::size_t shownPastSessions = 10;

std::vector<AgentDescriptor> withoutOldSessions(const std::vector<AgentDescriptor>& rows,
                                                std::size_t& leftOut) {
  std::vector<AgentDescriptor> shown;
  std::size_t past = 0;
  for (const auto& row : rows) {
    const bool isOld = isPastSession(row) && !isAlive(row) && ++past > shownPastSessions;
    leftOut += isOld ? 1 : 0;
    if (!isOld) shown.push_back(row);
  }
  return shown;
}

void printChange(Output& output, const ControlMessage& message, std::vector<AgentDescriptor>& known) {
  if (const auto* list = std::get_if<message::AgentList>(&message)) {
    for (const auto& row : list->_0)
      if (std::ranges::find(known, row) == known.end()) output.line(rowLine(row, 8, secondsSince1970()));
    known = list->_0;
  } else if (const auto* event = std::get_if<message::AgentEvent>(&message)) {
    if (const auto* updated = std::get_if<agentEvent::Updated>(&event->_0)) {
      output.line(rowLine(updated->_0, 8, secondsSince1970()));
      const auto old = std::ranges::find(known, updated->_0.id, &AgentDescriptor::id);
      if (old != known.end()) *old = updated->_0;
    } else if (const auto* removed = std::get_if<agentEvent::Removed>(&event->_0)) {
      output.line(fmt::format("{}  removed", removed->id.text().substr(0, 8)));
      std::erase_if(known, [&](const AgentDescriptor& row) { return row.id == removed->id; });
    } else if (const auto* attention = std::get_if<agentEvent::Attention>(&event->_0)) {
      output.line(fmt::format("{}  needs attention: {}: {}", attention->id.text().substr(0, 8),
                              printable(attention->title), printable(attention->body)));
    }
  }
}

Outcome<void> followAgents(const Arguments& arguments, CommandContext& context) {
  std::vector<AgentDescriptor> known;
  const bool asJSON = arguments.has("--json");
  return followMessages(arguments, context, [&](const ControlMessage& message) {
    if (!asJSON) return printChange(context.output, message, known);
    if (!std::holds_alternative<message::AgentList>(message) &&
        !std::holds_alternative<message::AgentEvent>(message))
      return;
    if (const auto encoded = ControlCoder::encode(message)) context.output.line(textViewOf(*encoded));
  });
}

Outcome<void> runAgents(const Arguments& arguments, CommandContext& context) {
  if (arguments.has("--follow")) return followAgents(arguments, context);
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto rows = fetchAgents(**session, *deadline);
  if (!rows) return std::unexpected(rows.error());
  closeSession(**session);
  if (arguments.has("--json")) {
    printRecord(context.output, *rows);
    return {};
  }
  std::size_t leftOut = 0;
  printRows(context.output, arguments.has("--all") ? *rows : withoutOldSessions(*rows, leftOut));
  if (leftOut > 0) context.output.note(fmt::format("{} older past sessions not shown; use --all.", leftOut));
  if (rows->empty()) context.output.note("No agents. Start one with 'quorl_client spawn COMMAND'.");
  return {};
}

// `spawn` and `resume` wait for a new row that has a process.
Outcome<AgentDescriptor> awaitNewRow(Session& session, Deadline deadline, const std::set<UUID>& before,
                                     const std::function<bool(const AgentDescriptor&)>& isIt) {
  AgentDescriptor found;
  const auto awaited =
      awaitMessage(session, deadline, "agent.", "the host did not confirm the start in time",
                   [&](const ControlMessage& message) {
                     const auto* list = std::get_if<message::AgentList>(&message);
                     if (list == nullptr) return false;
                     const auto row = std::ranges::find_if(list->_0, [&](const AgentDescriptor& candidate) {
                       return candidate.pid && !before.contains(candidate.id) && isIt(candidate);
                     });
                     if (row == list->_0.end()) return false;
                     found = *row;
                     return true;
                   });
  if (!awaited) return std::unexpected(awaited.error());
  return found;
}

std::set<UUID> idsWithProcess(const std::vector<AgentDescriptor>& rows) {
  std::set<UUID> ids;
  for (const auto& row : rows)
    if (row.pid) ids.insert(row.id);
  return ids;
}

void printStarted(const Arguments& arguments, Output& output, const AgentDescriptor& row) {
  if (arguments.has("--json"))
    printRecord(output, row);
  else
    output.line(row.id.text());
}

Outcome<AgentSpawnConfig> spawnConfig(const Arguments& arguments) {
  AgentSpawnConfig config;
  for (const auto& word : arguments.positional())
    config.command += (config.command.empty() ? "" : " ") + word;
  config.displayName = arguments.text("--name").value_or("");
  config.workingDirectory = arguments.text("--cwd").value_or("~");
  auto environment = environmentOf(arguments);
  if (!environment) return std::unexpected(environment.error());
  config.env = std::move(*environment);
  // The agent is most likely watched from this terminal.
  if (const char* colours = std::getenv("COLORTERM"); colours != nullptr && *colours != '\0')
    config.env.try_emplace("COLORTERM", colours);
  if (!config.workingDirectory.starts_with('/') && !config.workingDirectory.starts_with('~'))
    return failed(ExitCode::usage, "--cwd is a folder on the host and must begin with / or ~");
  return config;
}

Outcome<ControlMessage> launchOf(Session& session, Deadline deadline, const std::string& wanted,
                                 AgentSpawnConfig& config) {
  const auto entries = fetchCatalog(session, deadline, ControlMessage(message::RequestAgentCatalog{}));
  if (!entries) return std::unexpected(entries.error());
  std::vector<Named> all;
  for (const auto& entry : *entries) all.push_back({entry.id, entry.name});
  const auto chosen = chooseNamed(all, wanted, "catalog entry");
  if (!chosen) return std::unexpected(chosen.error());
  const auto& entry = (*entries)[*chosen];
  config.command = entry.command;
  config.workingDirectory = entry.workingDirectory;
  return ControlMessage(message::LaunchCatalogEntry{entry.id});
}

Outcome<void> runSpawn(const Arguments& arguments, CommandContext& context) {
  const auto entry = arguments.text("--entry");
  if (entry.has_value() == !arguments.positional().empty())
    return failed(ExitCode::usage, "spawn needs either a COMMAND or --entry",
                  "See 'quorl_client help spawn'.");
  auto config = spawnConfig(arguments);
  if (!config) return std::unexpected(config.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto rows = fetchAgents(**session, *deadline);
  if (!rows) return std::unexpected(rows.error());
  auto request = entry ? launchOf(**session, *deadline, *entry, *config)
                       : ControlMessage(message::AgentCommand{agentCommand::Spawn{*config}});
  if (!request) return std::unexpected(request.error());
  if (auto sent = (*session)->send(*request); !sent) return sent;
  const auto detail = config->command + " — " + config->workingDirectory;
  const auto row = awaitNewRow(**session, *deadline, idsWithProcess(*rows),
                               [&](const AgentDescriptor& candidate) { return candidate.detail == detail; });
  if (!row) return std::unexpected(row.error());
  closeSession(**session);
  printStarted(arguments, context.output, *row);
  return {};
}

Outcome<void> mayResume(const AgentDescriptor& row, bool isForced) {
  const auto name = printable(row.name);
  if (!sessionIDOf(row) || !row.projectPath)
    return failed(ExitCode::failure, fmt::format("{} is not a session that can be resumed", name),
                  "'quorl_client agents' lists past sessions as 'past'.");
  if (row.pid && isAlive(row))
    return failed(ExitCode::failure, fmt::format("{} is already running", name),
                  fmt::format("Attach with 'quorl_client attach {}'.", row.id.text().substr(0, 8)));
  if (row.pid)
    return failed(ExitCode::failure, fmt::format("{} has ended, and the host still shows its terminal", name),
                  "It can be resumed when the host has dropped that row, after an hour at most.");
  if (row.tool && *row.tool != AgentTool::claude)
    return failed(ExitCode::failure,
                  fmt::format("{} is a session of {}; a host resumes only sessions of {}", name,
                              label(*row.tool), label(AgentTool::claude)),
                  "Run the tool's own resume command with 'quorl_client spawn ... --cwd PROJECT'.");
  if (isAlive(row) && !isForced)
    return failed(ExitCode::failure, fmt::format("{} seems to be open in a terminal", name),
                  "'quorl_client external' shows it; --force resumes it a second time.");
  return {};
}

Outcome<void> runResume(const Arguments& arguments, CommandContext& context) {
  auto chosen = openAgent(arguments, context, isPastSession);
  if (!chosen) return std::unexpected(chosen.error());
  const auto& row = chosen->row;
  if (auto may = mayResume(row, arguments.has("--force")); !may) return may;
  const agentCommand::AdoptClaudeSession resume{*sessionIDOf(row), *row.projectPath};
  if (auto sent = chosen->session->send(ControlMessage(message::AgentCommand{resume})); !sent) return sent;
  const auto started =
      awaitNewRow(*chosen->session, chosen->deadline, {}, [&](const AgentDescriptor& candidate) {
        return candidate.kind == AgentKind::claudeCode && candidate.detail == row.detail;
      });
  if (!started) return std::unexpected(started.error());
  closeSession(*chosen->session);
  printStarted(arguments, context.output, *started);
  return {};
}

Outcome<void> mayType(const AgentDescriptor& row) {
  const auto name = printable(row.name);
  if (isPastSession(row))
    return failed(ExitCode::failure, fmt::format("{} is a past session", name),
                  fmt::format("Resume it first: 'quorl_client resume {}'.", row.id.text().substr(0, 8)));
  if (!hasTerminal(row)) return failed(ExitCode::failure, fmt::format("{} has no terminal", name));
  if (!isAlive(row)) return failed(ExitCode::failure, fmt::format("{} has ended", name));
  return {};
}

Outcome<std::string> wholeInput(int descriptor) {
  std::string text;
  std::array<char, 65'536> buffer;
  for (;;) {
    const auto count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed(ExitCode::failure, fmt::format("standard input: {}", std::strerror(errno)));
    if (count == 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

bool isLiveTerminal(const AgentDescriptor& row) {
  return hasTerminal(row) && isAlive(row);
}

Outcome<void> runPrompt(const Arguments& arguments, CommandContext& context) {
  std::string text;
  for (std::size_t index = 1; index < arguments.positional().size(); ++index)
    text += (text.empty() ? "" : " ") + arguments.positional()[index];
  if (text == "-") {
    auto input = wholeInput(context.inputDescriptor);
    if (!input) return std::unexpected(input.error());
    text = std::move(*input);
  }
  auto chosen = openAgent(arguments, context, isLiveTerminal);
  if (!chosen) return std::unexpected(chosen.error());
  if (auto may = mayType(chosen->row); !may) return may;
  const agentCommand::Prompt prompt{chosen->row.id, text};
  if (auto sent = chosen->session->send(ControlMessage(message::AgentCommand{prompt})); !sent) return sent;
  if (auto settled = settle(*chosen->session, chosen->deadline); !settled) return settled;
  closeSession(*chosen->session);
  return {};
}

Outcome<void> runKill(const Arguments& arguments, CommandContext& context) {
  auto chosen = openAgent(arguments, context, isLiveTerminal);
  if (!chosen) return std::unexpected(chosen.error());
  const auto& row = chosen->row;
  if (auto may = mayType(row); !may) return may;
  const ControlMessage kill(message::AgentCommand{agentCommand::Kill{row.id}});
  if (auto sent = chosen->session->send(kill); !sent) return sent;
  const auto isOver = [&](const AgentDescriptor& one) { return one.id == row.id && !isAlive(one); };
  const auto awaited = awaitMessage(
      *chosen->session, chosen->deadline, "agent.unknown",
      fmt::format("{} was asked to end but is still running", printable(row.name)),
      [&](const ControlMessage& message) {
        if (const auto* list = std::get_if<message::AgentList>(&message))
          return std::ranges::any_of(list->_0, isOver);
        const auto* event = std::get_if<message::AgentEvent>(&message);
        const auto* updated = event != nullptr ? std::get_if<agentEvent::Updated>(&event->_0) : nullptr;
        return updated != nullptr && isOver(updated->_0);
      });
  if (!awaited) return awaited;
  closeSession(*chosen->session);
  return {};
}

constexpr std::string_view namingHelp =
    "AGENT is an identity, its beginning, a name or a part of a name that matches one agent.\n";

}  // namespace

Outcome<std::map<std::string, std::string>> environmentOf(const Arguments& arguments) {
  std::map<std::string, std::string> environment;
  for (const auto& entry : arguments.texts("--env")) {
    const auto equals = entry.find('=');
    if (equals == std::string::npos || equals == 0)
      return failed(ExitCode::usage, fmt::format("--env takes NAME=VALUE, not '{}'", entry));
    environment[entry.substr(0, equals)] = entry.substr(equals + 1);
  }
  return environment;
}

std::vector<Command> agentCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "agents",
       .arguments = "",
       .summary = "list the agents of a host, or follow what they do",
       .details =
           "Two lines per agent: identity, state, origin, name and last activity; then its last output\n"
           "or a description.\n"
           "States: running, idle, waiting (for a human), exited. Origins: spawned or resumed by the\n"
           "host, tab (an adopted terminal), app, service, or past (a session on disk).\n"
           "--follow prints a line for each change until interrupted, and reconnects if the\n"
           "connection breaks.\n",
       .options = {{"--all", "", "include older past sessions"},
                   {"--follow", "", "print changes until interrupted"},
                   {"--json", "", "one JSON list; with --follow one message a line"}},
       .examples = {"agents", "agents --follow",
                    "agents --json | jq '.[] | select(.status==\"waitingInput\")'"},
       .run = runAgents});
  commands.push_back(
      {.name = "spawn",
       .arguments = "COMMAND...",
       .summary = "start a command in a terminal of the host and print its identity",
       .details =
           "The command is a line for the login shell of the host's user. Without --name the agent is\n"
           "named after its program.\n",
       .options = {{"--cwd", "FOLDER", "working folder on the host (default ~)"},
                   {"--name", "NAME", "name of the agent, at most 60 characters"},
                   {"--env", "NAME=VALUE", "environment variable; may be repeated"},
                   {"--entry", "ENTRY", "a catalog entry instead of a COMMAND"},
                   {"--json", "", "print the whole row instead of the identity"}},
       .maximumPositional = 256,
       .examples = {"spawn claude --cwd ~/project", "spawn --name tests -- make -j4 check",
                    "spawn --entry Codex", "spawn --name monitor -- htop --tree"},
       .run = runSpawn});
  commands.push_back({.name = "resume",
                      .arguments = "AGENT",
                      .summary = "resume a past session in a terminal of the host",
                      .details = "The agent keeps its identity and its place in the list.\n",
                      .options = {{"--force", "", "resume even if it seems to be open elsewhere"},
                                  {"--json", "", "print the whole row instead of the identity"}},
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"resume 3F2504E0", "resume website"},
                      .run = runResume});
  commands.push_back(
      {.name = "prompt",
       .arguments = "AGENT TEXT...",
       .summary = "type a line into an agent and press Return",
       .details = namingHelp,
       .options = {},
       .minimumPositional = 2,
       .maximumPositional = 256,
       .examples = {"prompt 3F25 'run the tests again'", "prompt website y", "prompt website - < task.txt"},
       .run = runPrompt});
  commands.push_back(
      {.name = "kill",
       .arguments = "AGENT",
       .summary = "end an agent and wait for its end",
       .details =
           "A spawned agent is asked to end and killed if it is still running after three seconds. An\n"
           "adopted one gets an interrupt first and is never killed.\n",
       .options = {},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"kill 3F25", "kill website"},
       .run = runKill});
  return commands;
}

}  // namespace quorl::client
