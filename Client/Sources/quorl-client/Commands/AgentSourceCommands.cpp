// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>

namespace quorl::client {
namespace {

using Entries = std::vector<AgentCatalogEntry>;

void printEntries(const Arguments& arguments, Output& output, const Entries& entries) {
  if (arguments.has("--json")) return printRecord(output, entries);
  for (const auto& entry : entries)
    output.line(fmt::format("{}  {:<20} {}  in {}{}", entry.id.text(), printable(entry.name),
                            printable(entry.command), printable(entry.workingDirectory),
                            entry.builtin ? "  (built in)" : ""));
}

Outcome<ControlMessage> catalogAdd(const Arguments& arguments) {
  const auto& words = arguments.positional();
  if (words.size() != 3)
    return failed(ExitCode::usage, "catalog add needs NAME COMMAND", "See 'quorl_client help catalog'.");
  auto environment = environmentOf(arguments);
  if (!environment) return std::unexpected(environment.error());
  AgentCatalogEntry entry{.id = UUID::random(),
                          .name = words[1],
                          .command = words[2],
                          .workingDirectory = arguments.text("--cwd").value_or("~"),
                          .env = std::move(*environment),
                          .builtin = false,
                          .symbol = arguments.text("--symbol")};
  return ControlMessage(message::SaveAgentCatalogEntry{std::move(entry)});
}

Outcome<ControlMessage> catalogRemove(const Arguments& arguments, const Entries& entries) {
  const auto& words = arguments.positional();
  if (words.size() != 2)
    return failed(ExitCode::usage, "catalog remove needs an ENTRY", "See 'quorl_client help catalog'.");
  std::vector<Named> all;
  for (const auto& entry : entries) all.push_back({entry.id, entry.name});
  const auto chosen = chooseNamed(all, words[1], "catalog entry");
  if (!chosen) return std::unexpected(chosen.error());
  const auto& entry = entries[*chosen];
  if (entry.builtin)
    return failed(ExitCode::failure,
                  fmt::format("{} is built in and cannot be removed", printable(entry.name)));
  return ControlMessage(message::DeleteAgentCatalogEntry{entry.id});
}

Outcome<void> runCatalog(const Arguments& arguments, CommandContext& context) {
  const auto& words = arguments.positional();
  const auto what = words.empty() ? std::string("list") : words[0];
  if (what != "list" && what != "add" && what != "remove")
    return failed(ExitCode::usage, fmt::format("catalog has no action '{}'", what),
                  "The actions are list, add and remove.");
  auto change = what == "add" ? catalogAdd(arguments) : Outcome<ControlMessage>(ControlMessage());
  if (!change) return std::unexpected(change.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  auto entries = fetchCatalog(**session, *deadline, ControlMessage(message::RequestAgentCatalog{}));
  if (!entries) return std::unexpected(entries.error());
  if (what == "remove") change = catalogRemove(arguments, *entries);
  if (!change) return std::unexpected(change.error());
  if (what != "list") entries = fetchCatalog(**session, *deadline, *change);
  if (!entries) return std::unexpected(entries.error());
  closeSession(**session);
  printEntries(arguments, context.output, *entries);
  return {};
}

std::string placeOf(const ExternalAgent& agent) {
  const auto tty = agent.tty ? printable(*agent.tty) : std::string("no terminal");
  return agent.adoptable ? tty + ", can be adopted" : tty;
}

Outcome<void> runExternal(const Arguments& arguments, CommandContext& context) {
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto agents = fetchExternalAgents(**session, *deadline);
  if (!agents) return std::unexpected(agents.error());
  closeSession(**session);
  auto& output = context.output;
  if (arguments.has("--json")) {
    printRecord(output, *agents);
    return {};
  }
  for (const auto& agent : *agents) {
    const auto id = agent.id.text().substr(0, 8);
    output.line(fmt::format("{}  {:<14} pid {}, {}", id, printable(agent.name), agent.pid, placeOf(agent)));
    output.line(fmt::format("          {}{}", printable(agent.command),
                            agent.cwd ? "  in " + printable(*agent.cwd) : std::string()));
  }
  if (agents->empty()) output.note("No agents run outside the host's own terminals.");
  return {};
}

// A process identifier also names an agent.
Outcome<ExternalAgent> chooseExternal(const std::vector<ExternalAgent>& agents, const std::string& wanted) {
  const auto number = parseInteger(wanted);
  if (number)
    for (const auto& agent : agents)
      if (agent.pid == *number) return agent;
  std::vector<Named> all;
  for (const auto& agent : agents) all.push_back({agent.id, agent.name});
  const auto chosen = chooseNamed(all, wanted, "external agent");
  if (!chosen) return std::unexpected(chosen.error());
  return agents[*chosen];
}

Outcome<void> runAdopt(const Arguments& arguments, CommandContext& context) {
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto agents = fetchExternalAgents(**session, *deadline);
  if (!agents) return std::unexpected(agents.error());
  const auto agent = chooseExternal(*agents, arguments.positional()[0]);
  if (!agent) return std::unexpected(agent.error());
  if (auto sent = (*session)->send(ControlMessage(message::AdoptExternalAgent{agent->id})); !sent)
    return sent;
  const auto awaited =
      awaitMessage(**session, *deadline, "agent.", "the host did not confirm the adoption in time",
                   [&](const ControlMessage& message) {
                     const auto* list = std::get_if<message::AgentList>(&message);
                     return list != nullptr &&
                            std::ranges::find(list->_0, agent->id, &AgentDescriptor::id) != list->_0.end();
                   });
  if (!awaited) return awaited;
  closeSession(**session);
  context.output.line(agent->id.text());
  return {};
}

}  // namespace

std::vector<Command> agentSourceCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "catalog",
       .arguments = "[list | add NAME COMMAND | remove ENTRY]",
       .summary = "list, add or remove a host's saved commands",
       .details = "'quorl_client spawn --entry NAME' starts one. Built-in entries cannot be removed.\n",
       .options = {{"--cwd", "FOLDER", "for add: working folder on the host (default ~)"},
                   {"--env", "NAME=VALUE", "for add: environment variable; may be repeated"},
                   {"--symbol", "NAME", "for add: name of an icon"},
                   {"--json", "", "one JSON list"}},
       .maximumPositional = 3,
       .examples = {"catalog", "catalog add Website 'claude --model opus' --cwd ~/website",
                    "catalog remove Website"},
       .run = runCatalog});
  commands.push_back({.name = "external",
                      .arguments = "",
                      .summary = "list agents on the host that it did not start",
                      .details = "An agent in a tmux pane or a kitty window can be adopted; it then appears\n"
                                 "in the list of agents.\n",
                      .options = {{"--json", "", "one JSON list"}},
                      .examples = {"external"},
                      .run = runExternal});
  commands.push_back(
      {.name = "adopt",
       .arguments = "AGENT",
       .summary = "watch and control an agent that the host did not start",
       .details = "AGENT is an identity or its beginning, a name or a process identifier, as listed by\n"
                  "'external'. The program stays in its terminal.\n",
       .options = {},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"adopt 7C31", "adopt 48213"},
       .run = runAdopt});
  return commands;
}

}  // namespace quorl::client
