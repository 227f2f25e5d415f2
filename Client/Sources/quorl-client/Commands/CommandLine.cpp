// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include <fmt/format.h>

#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {
namespace {

std::vector<Command> allCommands() {
  std::vector<Command> commands;
  for (auto group : {hostCommands(), watchCommands(), hostStateCommands(), serviceCommands(),
                     sessionCommands(), videoCommands(), fitCommands(), soundCommands(), inputCommands(),
                     clipboardCommands(), fileCommands(), systemCommands(), userCommands(), agentCommands(),
                     attachCommands(), agentSourceCommands(), versionCommands()})
    commands.insert(commands.end(), std::move_iterator(group.begin()), std::move_iterator(group.end()));
  return commands;
}

const Command* findCommand(std::string_view name) {
  const auto table = commandTable();
  const auto found = std::ranges::find(table, name, &Command::name);
  return found != table.end() ? &*found : nullptr;
}

ExitCode report(Output& output, const ClientError& error) {
  if (error.code == ExitCode::interrupted) {
    output.note("quorl_client: interrupted");
    return error.code;
  }
  output.note("quorl_client: " + error.what);
  if (!error.advice.empty()) output.note("  " + error.advice);
  return error.code;
}

ExitCode unknownCommand(Output& output, std::string_view name) {
  return report(output, {ExitCode::usage, fmt::format("there is no command '{}'", name),
                         "'quorl_client help' lists them."});
}

ExitCode help(std::span<const std::string_view> topics, Output& output) {
  if (topics.empty()) {
    output.line(overviewHelp(commandTable()));
    return ExitCode::ok;
  }
  const auto* command = findCommand(topics.front());
  if (command == nullptr) return unknownCommand(output, topics.front());
  output.line(commandHelp(*command));
  return ExitCode::ok;
}

ExitCode run(std::span<const std::string_view> words, CommandContext& context) {
  auto& output = context.output;
  if (words.empty()) {
    output.note(overviewHelp(commandTable()));
    return ExitCode::usage;
  }
  if (words[0] == "--version") {
    output.line("quorl_client " QUORL_VERSION);
    return ExitCode::ok;
  }
  // For the shells' completion. Not in the help: people have no use for it.
  if (words[0] == "--complete") return printCompletion(words.subspan(1), context);
  if (words[0] == "help" || words[0] == "--help" || words[0] == "-h") return help(words.subspan(1), output);
  const auto* command = findCommand(words[0]);
  if (command == nullptr) return unknownCommand(output, words[0]);
  const auto arguments = Arguments::parse(*command, words.subspan(1));
  if (!arguments) return report(output, arguments.error());
  if (arguments->has("--help")) return help(words.first(1), output);
  if (auto done = command->run(*arguments, context); !done) return report(output, done.error());
  return ExitCode::ok;
}

std::string optionLines(std::span<const OptionSpec> options) {
  std::string text;
  for (const auto& option : options) {
    const auto left = option.valueName.empty() ? std::string(option.name)
                                               : fmt::format("{} {}", option.name, option.valueName);
    text += fmt::format("  {:<22} {}\n", left, option.help);
  }
  return text;
}

}  // namespace

std::span<const Command> commandTable() {
  static const std::vector<Command> table = allCommands();
  return table;
}

std::string overviewHelp(std::span<const Command> commands) {
  std::string text =
      "quorl_client: view and control a computer that runs Quorl Host\n"
      "\n"
      "usage: quorl_client COMMAND [arguments]\n"
      "       quorl_client help COMMAND      describes a command, with examples\n"
      "       quorl_client --version\n"
      "\n"
      "commands:\n";
  for (const auto& command : commands) text += fmt::format("  {:<10} {}\n", command.name, command.summary);
  text +=
      "\n"
      "first steps:\n"
      "  quorl_client discover              lists the hosts on this network\n"
      "  quorl_client pair desk.local       asks for the PIN that the host shows\n"
      "  quorl_client watch                 shows its screen in a window\n"
      "  quorl_client shot screen.png       saves a picture of its screen\n"
      "  quorl_client spawn claude          starts an agent and prints its identity\n"
      "  quorl_client attach claude         shows its terminal; Ctrl-] detaches\n"
      "\n"
      "HOST is a name or an address, with a port if it is not 47900: desk.local, 10.0.0.2:47905,\n"
      "[fe80::1%eth0]:47905. Through ssh, encrypted: ssh://ada@desk.local, with a port of ssh after the\n"
      "colon and another port of the host as ?port=N: ssh://ada@desk.local:2222?port=47905.\n"
      "Pairings are kept in $XDG_CONFIG_HOME/quorl/hosts.json or\n"
      "~/.config/quorl/hosts.json; anyone who can read that file can use the hosts.\n"
      "\n"
      "exit status: 0 done, 1 failed, 2 wrong usage, 3 host not reachable, 4 refused or not paired,\n"
      "5 no answer in time, 130 interrupted";
  return text;
}

std::string commandHelp(const Command& command) {
  std::string text = fmt::format("usage: quorl_client {}", command.name);
  if (!command.arguments.empty()) text += fmt::format(" {}", command.arguments);
  text += fmt::format(" [options]\n\n{}\n", command.summary);
  if (!command.details.empty()) text += fmt::format("\n{}", command.details);
  text += "\noptions:\n" + optionLines(command.options) + optionLines(commonOptions());
  if (!command.examples.empty()) text += "\nexamples:\n";
  for (const auto example : command.examples) text += fmt::format("  quorl_client {}\n", example);
  text.pop_back();
  return text;
}

ExitCode runCommandLine(std::span<const std::string_view> words, CommandContext& context) {
  auto& output = context.output;
  const auto code = run(words, context);
  if (code != ExitCode::ok || output.isIntact()) return code;
  return report(output, {ExitCode::failure, "standard output did not take all of the result", {}});
}

}  // namespace quorl::client
