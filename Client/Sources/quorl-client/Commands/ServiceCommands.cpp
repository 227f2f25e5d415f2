// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>
#include <quorl-client/Commands/Browser.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/HostStateText.h>
#include <quorl-client/Commands/RelayURL.h>
#include <quorl-client/Commands/TextTable.h>

namespace quorl::client {
namespace {

using Services = std::vector<ServiceDescriptor>;

std::string hostOf(const Arguments& arguments) {
  return arguments.positional().empty() ? std::string() : arguments.positional()[0];
}

Outcome<Services> fetchServices(Session& session, Deadline deadline) {
  return ask<message::ServiceList>(session, deadline, ControlMessage(message::RequestServiceList{}),
                                   "the host did not list its web services in time");
}

Outcome<NetworkStatus> fetchNetworkStatus(Session& session, Deadline deadline) {
  return ask<message::NetworkStatus>(session, deadline, ControlMessage(message::RequestNetworkStatus{}),
                                     "the host did not send its network status in time");
}

/// Prints what the host answers, or with --follow what it pushes.
template <class Case, class Fetch, class Print>
Outcome<void> showOrFollow(const Arguments& arguments, CommandContext& context, Fetch fetch, Print print) {
  const auto show = [&](const auto& value) {
    if (arguments.has("--json")) return printRecord(context.output, value);
    print(value);
  };
  if (arguments.has("--follow"))
    return followMessages(
        arguments, context,
        [&](const ControlMessage& message) {
          if (const auto* pushed = std::get_if<Case>(&message)) show(pushed->_0);
        },
        hostOf(arguments));
  const auto session = openSession(arguments, context, hostOf(arguments));
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto answer = fetch(**session, *deadline);
  if (!answer) return std::unexpected(answer.error());
  closeSession(**session);
  show(*answer);
  return {};
}

// services

void printServices(Output& output, const Services& services) {
  if (services.empty()) return output.note("No web services.");
  TextTable table({{"PORT", Column::right}, {"PID", Column::right}, {"PROCESS"}, {"REACH"}, {"TITLE"}});
  for (const ServiceDescriptor& service : services)
    table.add({std::to_string(service.port), service.pid == 0 ? "-" : std::to_string(service.pid),
               printable(service.processName), service.loopbackOnly ? "host only" : "network",
               printable(service.title.value_or(""))});
  for (const std::string& line : table.lines()) output.line(line);
}

Outcome<void> runServices(const Arguments& arguments, CommandContext& context) {
  return showOrFollow<message::ServiceList>(
      arguments, context, fetchServices,
      [&context](const Services& services) { printServices(context.output, services); });
}

// network

Outcome<void> runNetwork(const Arguments& arguments, CommandContext& context) {
  return showOrFollow<message::NetworkStatus>(
      arguments, context, fetchNetworkStatus, [&context](const NetworkStatus& status) {
        for (const std::string& line : networkLines(status)) context.output.line(line);
        if (status.actionURL) context.output.line("  " + printable(status.actionURL->absolute));
      });
}

// open

Outcome<std::uint16_t> servicePort(const Arguments& arguments) {
  const std::string& word = arguments.positional()[0];
  const auto port = parseInteger(word);
  if (!port || *port < 1 || *port > UINT16_MAX)
    return failed(ExitCode::usage, fmt::format("'{}' is no port", printable(word)),
                  "'quorl_client services' lists the ports.");
  return static_cast<std::uint16_t>(*port);
}

Outcome<std::string> urlOfService(const Arguments& arguments, CommandContext& context, std::uint16_t port) {
  const auto contents = context.book.load();
  if (!contents) return std::unexpected(contents.error());
  const auto host = chosenHost(arguments, *contents);
  if (!host) return std::unexpected(host.error());
  if (const auto endpoint = host->endpoint(); endpoint.ssh)
    return failed(ExitCode::failure, "a browser cannot use the host's relay through ssh",
                  fmt::format("Forward the service's port: '{} -L {}:localhost:{}', then open "
                              "http://localhost:{}/.",
                              sshCommandText(endpoint), port, port, port));
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto services = fetchServices(**session, *deadline);
  if (!services) return std::unexpected(services.error());
  const auto status = fetchNetworkStatus(**session, *deadline);
  if (!status) return std::unexpected(status.error());
  closeSession(**session);
  if (std::ranges::find(*services, port, &ServiceDescriptor::port) == services->end())
    return failed(ExitCode::failure, fmt::format("the host has found no web service on port {}", port),
                  "It looks every 20 seconds. 'quorl_client services' lists what it has found.");
  const auto& words = arguments.positional();
  return relayURL({.host = host->address,
                   .relayPort = status->relayPort,
                   .servicePort = port,
                   .path = words.size() > 1 ? words[1] : "/"},
                  host->token);
}

Outcome<void> runOpen(const Arguments& arguments, CommandContext& context) {
  const auto port = servicePort(arguments);
  if (!port) return std::unexpected(port.error());
  const auto url = urlOfService(arguments, context, *port);
  if (!url) return std::unexpected(url.error());
  if (arguments.has("--browser")) return openInBrowser(*url, context.waiter);
  context.output.line(*url);
  context.output.note(
      "The URL carries this client's token, which gives access to the host: keep it private.");
  return {};
}

const OptionSpec json{"--json", "", "JSON, one line"};
const OptionSpec follow{"--follow", "", "print every change until interrupted"};

}  // namespace

std::vector<Command> serviceCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "services",
       .arguments = "[HOST]",
       .summary = "list the web services of a host",
       .details = "The host looks for them every 20 seconds. REACH says whether the service itself can be\n"
                  "reached from the network; 'open' reaches all of them. Without a PID, the service is the\n"
                  "user's own entry or a process of another user.\n",
       .options = {follow, json},
       .maximumPositional = 1,
       .examples = {"services", "services desk.local --json", "services --follow"},
       .run = runServices});
  commands.push_back(
      {.name = "open",
       .arguments = "PORT [PATH]",
       .summary = "print or open the URL of a web service of a host",
       .details =
           "The URL leads through the host's relay and carries this client's token, which gives access\n"
           "to the host: keep it private. --browser passes it to xdg-open, where other users of this\n"
           "machine can see it in the list of processes for a moment.\n",
       .options = {{"--browser", "", "open it in the browser instead of printing it"}},
       .minimumPositional = 1,
       .maximumPositional = 2,
       .examples = {"open 3000", "open 3000 /admin?tab=users", "open 3000 --browser"},
       .run = runOpen});
  commands.push_back({.name = "network",
                      .arguments = "[HOST]",
                      .summary = "show how a host can be reached",
                      .details = "The overlay network, its names and addresses, the addresses in the LAN and "
                                 "the ports.\n",
                      .options = {follow, json},
                      .maximumPositional = 1,
                      .examples = {"network", "network desk.local --json", "network --follow"},
                      .run = runNetwork});
  return commands;
}

}  // namespace quorl::client
