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
#include <quorl-client/Session/Session.h>

namespace quorl::client {

// What a command may use of the world.
struct CommandContext {
  Output& output;
  HostBook book;
  Waiter& waiter;
  // Where a PIN or a text may be typed; -1: nowhere.
  int inputDescriptor = -1;
};

// Looks the command up and runs it; errors are told on the output. The result is the process's exit status.
ExitCode runCommandLine(std::span<const std::string_view> words, CommandContext& context);

// All commands in the order of the help.
std::span<const Command> commandTable();

// Each group of commands stands in a file of its own.
std::vector<Command> hostCommands();         // discover, pair, hosts, forget
std::vector<Command> sessionCommands();      // info, echo, send
std::vector<Command> videoCommands();        // shot, record, stats
std::vector<Command> inputCommands();        // click, type, key, scroll
std::vector<Command> agentCommands();        // agents, spawn, resume, prompt, kill
std::vector<Command> attachCommands();       // attach, notify
std::vector<Command> agentSourceCommands();  // catalog, external, adopt

// The text of `help` and `help COMMAND`.
std::string overviewHelp(std::span<const Command> commands);
std::string commandHelp(const Command& command);

// How this client presents itself to a host.
DeviceInfo clientDevice(const UUID& deviceID);

// The deadline that --timeout asks for, from now.
Outcome<Deadline> answerDeadline(const Arguments& arguments);

// The host that --host names, or the only one that is paired.
Outcome<PairedHost> chosenHost(const Arguments& arguments, const HostBookContents& contents,
                               const std::string& positionalHost = {});

// Connects to the chosen host and proves the pairing.
Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost = {});
Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost, Deadline deadline);

// What the --env options say.
Outcome<std::map<std::string, std::string>> environmentOf(const Arguments& arguments);

// Waits until the host has worked through everything sent so far, by an echo; errors that it reports
// meanwhile fail the call.
Outcome<void> settle(Session& session, Deadline deadline);

// Says goodbye, briefly.
void closeSession(Session& session);

// One line of JSON.
template <class Record>
void printRecord(Output& output, const Record& record) {
  if (const auto encoded = encodeRecord(record, JsonStyle::compact))
    output.line(std::string_view(reinterpret_cast<const char*>(encoded->data()), encoded->size()));
  else
    output.note("quorl_client: the result cannot be written as JSON: " + encoded.error().text);
}

}  // namespace quorl::client
