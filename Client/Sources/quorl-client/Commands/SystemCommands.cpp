// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {
namespace {

// A host answers no system command, so an echo confirms only that it has arrived.
Outcome<void> sendCommand(const Arguments& arguments, CommandContext& context, SystemCommand command) {
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const ControlMessage request(message::SystemCommand{command});
  if (auto sent = (*session)->send(request); !sent) return sent;
  auto settled = settle(**session, *deadline);
  if (settled) closeSession(**session);
  return settled;
}

Outcome<void> runCaffeinate(const Arguments& arguments, CommandContext& context) {
  const auto& word = arguments.positional()[0];
  if (word != "on" && word != "off")
    return failed(ExitCode::usage, fmt::format("'{}' is neither on nor off", word));
  return sendCommand(arguments, context, systemCommand::Caffeinate{word == "on"});
}

Outcome<void> runVolume(const Arguments& arguments, CommandContext& context) {
  const auto percent = arguments.positionalNumber(0, "volume");
  if (!percent) return std::unexpected(percent.error());
  if (*percent < 0 || *percent > 100) return failed(ExitCode::usage, "a volume is 0 to 100");
  return sendCommand(arguments, context, systemCommand::SetVolume{*percent / 100});
}

Outcome<void> runDisplays(const Arguments& arguments, CommandContext& context) {
  const auto& word = arguments.positional()[0];
  if (word == "sleep") return sendCommand(arguments, context, systemCommand::SleepDisplays{});
  if (word == "wake") return sendCommand(arguments, context, systemCommand::WakeDisplays{});
  return failed(ExitCode::usage, fmt::format("'{}' is neither sleep nor wake", word));
}

Outcome<void> runLock(const Arguments& arguments, CommandContext& context) {
  return sendCommand(arguments, context, systemCommand::LockScreen{});
}

constexpr std::string_view noAnswer = "The host sends no answer: what it could not do is in its log.\n";

}  // namespace

std::vector<Command> systemCommands() {
  std::vector<Command> commands;
  commands.push_back({.name = "caffeinate",
                      .arguments = "on|off",
                      .summary = "keep a host and its displays awake",
                      .details =
                          "It stays on, also after this client has left, until off or until the host ends.\n"
                          "The host sends no answer: what it could not do is in its log.\n",
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"caffeinate on"},
                      .run = runCaffeinate});
  commands.push_back({.name = "volume",
                      .arguments = "0-100",
                      .summary = "set the volume of a host's default output",
                      .details = noAnswer,
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"volume 40", "volume 0"},
                      .run = runVolume});
  commands.push_back({.name = "displays",
                      .arguments = "sleep|wake",
                      .summary = "turn a host's displays off or on",
                      .details = noAnswer,
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"displays sleep", "displays wake"},
                      .run = runDisplays});
  commands.push_back({.name = "lock",
                      .arguments = "",
                      .summary = "lock a host's screen",
                      .details = noAnswer,
                      .examples = {"lock", "lock --host desk.local"},
                      .run = runLock});
  return commands;
}

}  // namespace quorl::client
