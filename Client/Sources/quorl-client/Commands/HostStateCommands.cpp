// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <chrono>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/HostStateText.h>
#include <quorl-client/Commands/IconFolder.h>

namespace quorl::client {

struct InfoReport {
  DeviceInfo host;
  std::optional<HostState> hostState;
  std::optional<NetworkStatus> networkStatus;
};
BOOST_DESCRIBE_STRUCT(InfoReport, (), (host, hostState, networkStatus))

namespace {

using std::chrono::milliseconds;

// A host renders icons after the first state that needs them.
constexpr milliseconds iconInterval{200};

void printLines(Output& output, const std::vector<std::string>& lines) {
  for (const auto& line : lines) output.line(line);
}

std::size_t missingIcons(const HostState& state) {
  return static_cast<std::size_t>(
      std::ranges::count_if(state.apps, [](const RunningAppInfo& app) { return !app.iconPNG; }));
}

std::string hostOf(const Arguments& arguments) {
  return arguments.positional().empty() ? std::string() : arguments.positional()[0];
}

Outcome<std::optional<IconFolder>> iconFolderOf(const Arguments& arguments) {
  const auto path = arguments.text("--icons");
  if (!path) return std::optional<IconFolder>();
  auto folder = IconFolder::open(*path);
  if (!folder) return std::unexpected(folder.error());
  return std::optional(std::move(*folder));
}

enum class Icons : std::uint8_t { unwanted, wanted };

// Takes what arrives until the report is complete or the deadline has passed. Asks for the state again while
// wanted icons are missing.
Outcome<void> receiveReport(Session& session, InfoReport& report, Icons icons, Deadline deadline) {
  const auto lacksIcons = [&] {
    return icons == Icons::wanted && report.hostState && missingIcons(*report.hostState) > 0;
  };
  while (!report.hostState || !report.networkStatus || lacksIcons()) {
    const bool asksAgain = lacksIcons();
    auto received = session.nextControl(asksAgain ? std::min(deadline, within(iconInterval)) : deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received) {
      if (!asksAgain || Clock::now() >= deadline) break;
      if (auto sent = session.send(ControlMessage(message::RequestHostState{})); !sent) return sent;
    } else if (auto* state = std::get_if<message::HostState>(&**received)) {
      report.hostState = std::move(state->_0);
    } else if (auto* status = std::get_if<message::NetworkStatus>(&**received)) {
      report.networkStatus = std::move(status->_0);
    }
  }
  return {};
}

void printReport(const Arguments& arguments, Output& output, const InfoReport& report, double patience) {
  if (arguments.has("--json")) {
    printRecord(output, report);
  } else {
    output.line(fmt::format("{}  ({}, {})", printable(report.host.name), printable(report.host.model),
                            printable(report.host.osVersion)));
    if (report.hostState) {
      printLines(output, stateLines(*report.hostState));
      output.line(metricsLine(report.hostState->metrics));
    }
    if (report.networkStatus) printLines(output, networkLines(*report.networkStatus));
  }
  const auto note = [&](std::string_view what) {
    output.note(fmt::format("The host did not send its {} within {:g} s.", what, patience));
  };
  if (!report.hostState) note("displays, windows, applications and metrics");
  if (!report.networkStatus) note("network status");
}

Outcome<void> saveIcons(IconFolder& folder, const HostState& state, Output& output) {
  if (auto saved = folder.save(state); !saved) return saved;
  output.note(fmt::format("{} of {} icons saved.", folder.savedIcons(), state.apps.size()));
  return {};
}

// Prints the tables when one of them changes, and every report of the metrics.
class LiveState {
 public:
  explicit LiveState(Output& output) : output_(output) {}

  void take(const HostState& state) {
    auto lines = stateLines(state);
    if (lines != shown_) printLines(output_, lines);
    if (shown_.empty()) output_.line(metricsLine(state.metrics));
    shown_ = std::move(lines);
  }
  void take(const SystemMetrics& metrics) { output_.line(metricsLine(metrics)); }
  void take(const NetworkStatus& status) { printLines(output_, networkLines(status)); }

 private:
  Output& output_;
  std::vector<std::string> shown_;
};

Outcome<void> followInfo(const Arguments& arguments, CommandContext& context,
                         std::optional<IconFolder> icons) {
  LiveState live(context.output);
  const bool asJSON = arguments.has("--json");
  const auto takeOne = [&](const auto& value, const ControlMessage& message) {
    if (!asJSON) return live.take(value);
    if (const auto encoded = ControlCoder::encode(message)) context.output.line(textViewOf(*encoded));
  };
  return followMessages(
      arguments, context,
      [&](const ControlMessage& message) {
        if (const auto* state = std::get_if<message::HostState>(&message)) {
          takeOne(state->_0, message);
          if (icons)
            if (const auto saved = icons->save(state->_0); !saved) context.output.note(saved.error().what);
        }
        if (const auto* metrics = std::get_if<message::Metrics>(&message)) takeOne(metrics->_0, message);
        if (const auto* status = std::get_if<message::NetworkStatus>(&message)) takeOne(status->_0, message);
      },
      hostOf(arguments));
}

Outcome<void> runInfo(const Arguments& arguments, CommandContext& context) {
  const auto patience = arguments.number("--wait", 3, 0.1, 600);
  if (!patience) return std::unexpected(patience.error());
  auto icons = iconFolderOf(arguments);
  if (!icons) return std::unexpected(icons.error());
  if (arguments.has("--follow")) return followInfo(arguments, context, std::move(*icons));
  auto session = openSession(arguments, context, hostOf(arguments));
  if (!session) return std::unexpected(session.error());
  InfoReport report{(*session)->hostDevice, {}, {}};
  for (const auto& request :
       {ControlMessage(message::RequestHostState{}), ControlMessage(message::RequestNetworkStatus{})})
    if (auto sent = (*session)->send(request); !sent) return sent;
  const auto deadline =
      within(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*patience)));
  const auto wanted = *icons ? Icons::wanted : Icons::unwanted;
  if (auto received = receiveReport(**session, report, wanted, deadline); !received) return received;
  closeSession(**session);
  printReport(arguments, context.output, report, *patience);
  if (!report.hostState && !report.networkStatus)
    return failed(ExitCode::timedOut, "the host sent nothing about itself", "Try a longer --wait.");
  if (*icons && report.hostState) return saveIcons(**icons, *report.hostState, context.output);
  return {};
}

bool isControl(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

// The host starts nothing for these, and does not say so.
Outcome<void> checkIdentifier(const std::string& identifier) {
  const auto wrong = [&](std::string_view why) {
    return failed(ExitCode::usage, fmt::format("'{}' is no application: {}", printable(identifier), why),
                  "'quorl_client info' lists the identifiers of running applications.");
  };
  if (identifier.empty()) return wrong("it is empty");
  if (std::ranges::any_of(identifier, isControl)) return wrong("it has control characters");
  if (!identifier.starts_with('/') && identifier.find('/') != std::string::npos)
    return wrong("a path must be absolute");
  return {};
}

Outcome<void> runLaunch(const Arguments& arguments, CommandContext& context) {
  const std::string& identifier = arguments.positional()[0];
  if (auto checked = checkIdentifier(identifier); !checked) return checked;
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  if (auto sent = (*session)->send(ControlMessage(message::LaunchApp{{identifier, false}})); !sent)
    return sent;
  if (auto settled = settle(**session, *deadline); !settled) return settled;
  closeSession(**session);
  return {};
}

}  // namespace

std::vector<Command> hostStateCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "info",
       .arguments = "[HOST]",
       .summary = "show a host's displays, windows, applications, network and metrics",
       .details =
           "The ID of a row is for --display or --window; --app takes an application's identifier.\n"
           "Standard error names what the host did not send in time. --follow prints the tables again\n"
           "when they change and the metrics every two seconds; it reconnects if the host goes away.\n"
           "--icons waits up to --wait for icons that the host has still to draw.\n",
       .options = {{"--wait", "SECONDS", "how long to wait for it (default 3)"},
                   {"--icons", "DIR", "save the applications' icons there as PNG files"},
                   {"--follow", "", "go on until interrupted"},
                   {"--json", "", "one JSON object; with --follow one message a line"}},
       .maximumPositional = 1,
       .examples = {"info", "info desk.local --json", "info --icons icons", "info --follow"},
       .run = runInfo});
  commands.push_back(
      {.name = "launch",
       .arguments = "APPLICATION",
       .summary = "open an application on a host",
       .details =
           "APPLICATION is an identifier as 'info' lists it (the name of a desktop file without\n"
           "\".desktop\") or the absolute path of a desktop file or a program on the host. A host says\n"
           "nothing about an application that it does not have.\n",
       .options = {},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"launch org.gnome.Calculator", "launch /usr/bin/xterm"},
       .run = runLaunch});
  return commands;
}

}  // namespace quorl::client
