// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <QuorlKit/Protocol/Handshake.h>
#include <QuorlKit/Protocol/RecordCoding.h>

#include <quorl-client/Commands/Arguments.h>
#include <quorl-client/Commands/Output.h>
#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Hosts/PairedSession.h>
#include <quorl-client/Session/Session.h>

namespace quorl::client {

/// Everything a command uses beside its arguments.
struct CommandContext {
  Output& output;
  HostBook book;
  Waiter& waiter;
  /// For typed PINs and texts; -1: none.
  int inputDescriptor = -1;
};

/// Finds the command and runs it. Errors go to the output; the result is the process's exit status.
ExitCode runCommandLine(std::span<const std::string_view> words, CommandContext& context);

/// All commands in the order of `help`.
std::span<const Command> commandTable();

/// One file per group.
std::vector<Command> hostCommands();         // discover, pair, hosts, forget
std::vector<Command> watchCommands();        // watch
std::vector<Command> hostStateCommands();    // info, launch
std::vector<Command> versionCommands();      // version
std::vector<Command> serviceCommands();      // services, open, network
std::vector<Command> sessionCommands();      // echo, send
std::vector<Command> videoCommands();        // shot, record, stats
std::vector<Command> fitCommands();          // fit
std::vector<Command> soundCommands();        // listen
std::vector<Command> inputCommands();        // click, type, key, scroll
std::vector<Command> clipboardCommands();    // clipboard
std::vector<Command> systemCommands();       // caffeinate, volume, displays, lock
std::vector<Command> userCommands();         // users, switch, unlock, verify
std::vector<Command> fileCommands();         // push, pull, ls
std::vector<Command> agentCommands();        // agents, spawn, resume, prompt, kill
std::vector<Command> attachCommands();       // attach, notify
std::vector<Command> agentSourceCommands();  // catalog, external, adopt

/// Prints what the last word may become, for a shell.
ExitCode printCompletion(std::span<const std::string_view> words, CommandContext& context);

/// The text of `help` and `help COMMAND`.
std::string overviewHelp(std::span<const Command> commands);
std::string commandHelp(const Command& command);

/// The advice for a HOST that cannot be read.
inline constexpr auto addressExamples =
    "Examples: desk.local, 10.0.0.2:47905, [fe80::1%eth0]:47905, ssh://user@desk.";

/// Now plus --timeout.
Outcome<Deadline> answerDeadline(const Arguments& arguments);

/// The host named by --host or `positionalHost`, or the only paired one.
Outcome<PairedHost> chosenHost(const Arguments& arguments, const HostBookContents& contents,
                               const std::string& positionalHost = {});

/// Connects to the chosen host and proves the pairing.
Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost = {});
Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost, Deadline deadline,
                                              Questions questions = Questions::allowed);

/// The variables of all --env options.
Outcome<std::map<std::string, std::string>> environmentOf(const Arguments& arguments);

/// Standard input to its end; fails with `tooLong` above `limit` bytes.
Outcome<std::string> readInput(CommandContext& context, std::size_t limit, const std::string& tooLong);

/// Waits with an echo until the host has handled everything sent so far. Fails with the first error that the
/// host reports meanwhile.
Outcome<void> settle(Session& session, Deadline deadline);

/// Sends `bye` and waits briefly for the host to close.
void closeSession(Session& session);

/// Prints one line of JSON.
template <class Record>
void printRecord(Output& output, const Record& record) {
  if (const auto encoded = encodeRecord(record, JsonStyle::compact))
    output.line(std::string_view(reinterpret_cast<const char*>(encoded->data()), encoded->size()));
  else
    output.note("quorl_client: the result cannot be written as JSON: " + encoded.error().text);
}

}  // namespace quorl::client
