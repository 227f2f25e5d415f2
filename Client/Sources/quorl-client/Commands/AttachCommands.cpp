// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>
#include <quorl-client/Notifications/DesktopNotifier.h>
#include <quorl-client/Terminal/Attachment.h>

namespace quorl::client {
namespace {

Outcome<void> mayAttach(const AgentDescriptor& row) {
  if (hasTerminal(row)) return {};
  const auto name = printable(row.name);
  if (isPastSession(row))
    return failed(ExitCode::failure, fmt::format("{} is a past session", name),
                  fmt::format("Resume it first: 'quorl_client resume {}'.", row.id.text().substr(0, 8)));
  return failed(ExitCode::failure, fmt::format("{} has no terminal", name));
}

bool isLiveTerminal(const AgentDescriptor& row) {
  return hasTerminal(row) && isAlive(row);
}

Outcome<void> tell(const AgentDescriptor& row, Attachment::End end, Output& output) {
  const auto name = printable(row.name);
  switch (end) {
    case Attachment::End::detached:
      output.note(fmt::format("[quorl: detached from {}, which is still running]", name));
      return {};
    case Attachment::End::ended:
      output.note(fmt::format("[quorl: {} has ended]", name));
      return {};
    case Attachment::End::lost:
      return failed(ExitCode::failure, fmt::format("the host no longer has {}", name));
  }
  return {};
}

Outcome<void> runAttach(const Arguments& arguments, CommandContext& context) {
  const auto key = DetachKey::parse(arguments.text("--detach-key").value_or("ctrl-]"));
  if (!key) return std::unexpected(key.error());
  if (context.inputDescriptor < 0 || ::isatty(context.inputDescriptor) != 1)
    return failed(ExitCode::usage, "standard input is not a terminal",
                  "Run attach in a terminal; scripts can use 'quorl_client prompt'.");
  auto chosen = openAgent(arguments, context, isLiveTerminal);
  if (!chosen) return std::unexpected(chosen.error());
  const auto row = chosen->row;
  if (auto may = mayAttach(row); !may) return may;
  context.output.note(fmt::format("[quorl: attached to {}{}]", printable(row.name),
                                  key->name.empty() ? "" : "; " + key->name + " detaches"));
  Outcome<Attachment::End> end = Attachment::End::detached;
  {
    auto terminal = RawTerminal::enter(context.inputDescriptor, STDOUT_FILENO);
    if (!terminal) return std::unexpected(terminal.error());
    // The keys on the terminal belong to the agent, so ssh must not ask for a password when it reconnects.
    Attachment attachment(row, *key, *terminal, context.waiter, [&](Deadline deadline) {
      return openSession(arguments, context, {}, deadline, Questions::refused);
    });
    end = attachment.run(std::move(chosen->session));
  }
  if (!end) return std::unexpected(end.error());
  return tell(row, *end, context.output);
}

Outcome<void> runNotify(const Arguments& arguments, CommandContext& context) {
  DesktopNotifier desktop;
  const bool asJSON = arguments.has("--json");
  const bool isQuiet = arguments.has("--no-desktop");
  bool isWatching = false;
  return followMessages(arguments, context, [&](const ControlMessage& message) {
    if (std::holds_alternative<message::AgentList>(message) && !std::exchange(isWatching, true))
      context.output.note("Watching the agents; interrupt to end.");
    const auto* event = std::get_if<message::AgentEvent>(&message);
    const auto* attention = event != nullptr ? std::get_if<agentEvent::Attention>(&event->_0) : nullptr;
    if (attention == nullptr) return;
    if (asJSON)
      printRecord(context.output, *attention);
    else
      context.output.line(fmt::format("{}  {}: {}", attention->id.text().substr(0, 8),
                                      printable(attention->title), printable(attention->body)));
    if (!isQuiet) desktop.show(printable(attention->title), printable(attention->body));
  });
}

}  // namespace

std::vector<Command> attachCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "attach",
       .arguments = "AGENT",
       .summary = "show an agent's terminal here and type into it",
       .details =
           "Shows the agent's earlier output, then follows it; keys go to the agent. AGENT is an identity,\n"
           "its beginning, a name or a part of a name. The agent's terminal takes the size of this one.\n"
           "If the connection breaks, attach says so, reconnects and continues where it stopped; keys\n"
           "typed meanwhile are sent then.\n"
           "KEYS is one key or a sequence: ctrl-], ^\\, 'ctrl-p ctrl-q', 'ctrl-a d', or none. Pressed\n"
           "twice within 0.4 seconds they go to the agent once. Pasted text never detaches.\n",
       .options = {{"--detach-key", "KEYS", "detach and leave the agent running (default ctrl-])"}},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"attach 3F25", "attach website --detach-key 'ctrl-a d'"},
       .run = runAttach});
  commands.push_back(
      {.name = "notify",
       .arguments = "",
       .summary = "report when an agent needs attention, until interrupted",
       .details = "Prints one line for each call and shows a desktop notification if there is a desktop.\n"
                  "Reconnects if the connection breaks.\n",
       .options = {{"--no-desktop", "", "print lines only"}, {"--json", "", "one JSON object a line"}},
       .examples = {"notify", "notify --json"},
       .run = runNotify});
  return commands;
}

}  // namespace quorl::client
