// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Hosts/LocalHost.h>

namespace quorl::client {

struct VersionReport {
  std::string client;
  std::optional<std::string> runningHost;
  std::optional<std::string> installedHost;
};
BOOST_DESCRIBE_STRUCT(VersionReport, (), (client, runningHost, installedHost))

namespace {

Outcome<void> runVersion(const Arguments& arguments, CommandContext& context) {
  VersionReport report{.client = QUORL_VERSION, .runningHost = runningHostVersion(), .installedHost = {}};
  auto installed = installedHostVersion(context.waiter);
  if (!installed) return std::unexpected(installed.error());
  report.installedHost = std::move(*installed);
  if (arguments.has("--json")) {
    printRecord(context.output, report);
    return {};
  }
  const auto line = [&](std::string_view what, const std::string& version) {
    context.output.line(fmt::format("{:<16}{}", what, printable(version)));
  };
  line("client", report.client);
  if (report.runningHost) line("host, running", *report.runningHost);
  if (report.installedHost) line("host, installed", *report.installedHost);
  return {};
}

}  // namespace

std::vector<Command> versionCommands() {
  return {
      {.name = "version",
       .arguments = "",
       .summary = "show the versions of this client and of the host on this machine",
       .details =
           "The host's lines are absent if no host runs in this session, or if dpkg has none installed.\n"
           "They differ when a new package was installed and the running host could not continue with it.\n",
       .options = {{"--json", "", "one JSON object"}},
       .examples = {"version", "version --json"},
       .run = runVersion}};
}

}  // namespace quorl::client
