// SPDX-License-Identifier: GPL-3.0-or-later
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Hosts/Discovery.h>
#include <quorl-client/Hosts/Pairings.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::client {

// A pairing as `hosts --json` prints it: without the token.
struct HostLine {
  std::string name;
  std::string address;
  std::uint16_t port = 0;
  UUID deviceID;
};
BOOST_DESCRIBE_STRUCT(HostLine, (), (name, address, port, deviceID))

namespace {

// A host allows four wrong PINs per connection.
constexpr int typedAttempts = 3;
constexpr auto timeToType = std::chrono::minutes(5);

Outcome<void> runDiscover(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 3, 0.1, 600);
  if (!seconds) return std::unexpected(seconds.error());
  context.waiter.activity = "listening for hosts";
  const auto hosts = discoverHosts(
      context.waiter,
      within(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds))));
  if (!hosts) return std::unexpected(hosts.error());
  if (arguments.has("--json")) {
    printRecord(context.output, *hosts);
    return {};
  }
  for (const auto& host : *hosts)
    context.output.line(fmt::format("{:<24} {:<24} {}", printable(host.name), printable(host.hostName),
                                    HostAddress{printable(host.address), host.port}.text()));
  if (hosts->empty()) context.output.note("No host announces itself on this network.");
  return {};
}

// One line without its line feed.
Outcome<std::string> readLine(CommandContext& context, Deadline deadline) {
  std::string line;
  for (;;) {
    pollfd descriptor{context.inputDescriptor, POLLIN, 0};
    const auto ready = context.waiter.wait({&descriptor, 1}, deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return failed(ExitCode::timedOut, "no PIN was typed");
    char character = 0;
    const auto count = ::read(context.inputDescriptor, &character, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || character == '\n') return line;
    line += character;
  }
}

Outcome<std::string> typedPIN(CommandContext& context, const HelloAck& greeting) {
  context.output.note(fmt::format("PIN that {} shows:", printable(greeting.device.name)));
  auto slowNotice = std::exchange(context.waiter.onSlow, nullptr);
  auto line = readLine(context, within(timeToType));
  context.waiter.onSlow = std::move(slowNotice);
  if (!line) return line;
  std::erase_if(*line, [](char character) { return character == ' ' || character == '\r'; });
  if (!isPIN(*line)) return failed(ExitCode::usage, "a PIN is six digits");
  return line;
}

// Tries the PIN of --pin once, or asks until a typed one is right.
Outcome<Paired> provePINs(const Arguments& arguments, CommandContext& context, Session& session,
                          const HelloAck& greeting) {
  const auto given = arguments.text("--pin");
  const int attempts = given ? 1 : typedAttempts;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    const auto pin = given ? Outcome<std::string>(*given) : typedPIN(context, greeting);
    if (!pin) return std::unexpected(pin.error());
    const auto deadline = answerDeadline(arguments);
    if (!deadline) return std::unexpected(deadline.error());
    auto outcome = provePIN(session, *pin, greeting, *deadline);
    if (!outcome) return std::unexpected(outcome.error());
    if (auto* paired = std::get_if<Paired>(&*outcome)) return std::move(*paired);
    if (attempt < attempts) context.output.note("Wrong PIN; try again.");
  }
  return failed(
      ExitCode::refused, "wrong PIN",
      "The host shows its PIN in its window; after several failures it refuses every PIN for a while.");
}

Outcome<HostAddress> addressFor(const std::string& text, const HostBook& book) {
  const auto contents = book.load();
  if (!contents) return std::unexpected(contents.error());
  if (const auto* known = contents->find(text)) return known->endpoint();
  if (const auto address = HostAddress::parse(text)) return *address;
  return failed(ExitCode::usage, fmt::format("'{}' is not a host name or address", text), addressExamples);
}

Outcome<void> runPair(const Arguments& arguments, CommandContext& context) {
  const auto pin = arguments.text("--pin");
  if (pin && !isPIN(*pin)) return failed(ExitCode::usage, "--pin must be six digits");
  if (!pin && context.inputDescriptor < 0)
    return failed(ExitCode::usage, "there is no terminal to type the PIN at", "Use --pin.");
  const auto address = addressFor(arguments.positional()[0], context.book);
  if (!address) return std::unexpected(address.error());
  const auto contents = context.book.update([](HostBookContents&) {});
  if (!contents) return std::unexpected(contents.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  context.waiter.activity = fmt::format("connecting to {}", address->text());
  auto session = Session::connect(*address, context.waiter, *deadline);
  if (!session) return std::unexpected(session.error());
  context.waiter.activity = fmt::format("waiting for {}", address->text());
  const auto answerBy = answerDeadline(arguments);
  if (!answerBy) return std::unexpected(answerBy.error());
  const auto greeting = greet(**session, clientDevice(contents->deviceID), *answerBy);
  if (!greeting) return std::unexpected(greeting.error());
  auto paired = provePINs(arguments, context, **session, *greeting);
  if (!paired) return std::unexpected(paired.error());

  const auto host = keepPairing(context.book, *address, std::move(*paired));
  if (!host) return std::unexpected(host.error());
  closeSession(**session);
  context.output.line(fmt::format("Paired with {} at {}.", printable(host->name), host->endpoint().text()));
  return {};
}

Outcome<void> runHosts(const Arguments& arguments, CommandContext& context) {
  const auto contents = context.book.load();
  if (!contents) return std::unexpected(contents.error());
  if (arguments.has("--json")) {
    std::vector<HostLine> lines;
    for (const auto& host : contents->hosts)
      lines.push_back({host.name, host.address, host.port, host.deviceID});
    printRecord(context.output, lines);
    return {};
  }
  for (const auto& host : contents->hosts)
    context.output.line(fmt::format("{:<24} {:<28} {}", printable(host.name),
                                    printable(host.endpoint().text()), host.deviceID.text()));
  if (contents->hosts.empty()) context.output.note("No host is paired. Pair with 'quorl_client pair HOST'.");
  return {};
}

Outcome<void> runForget(const Arguments& arguments, CommandContext& context) {
  const auto& wanted = arguments.positional()[0];
  const auto contents = context.book.load();
  if (!contents) return std::unexpected(contents.error());
  const auto* const known = contents->find(wanted);
  if (known == nullptr)
    return failed(ExitCode::refused, fmt::format("this client is not paired with {}", wanted),
                  "'quorl_client hosts' lists the pairings.");
  const auto updated = context.book.update([&](HostBookContents& book) {
    std::erase_if(book.hosts, [&](const PairedHost& host) { return host.deviceID == known->deviceID; });
  });
  if (!updated) return std::unexpected(updated.error());
  context.output.line(fmt::format("Forgot {}.", printable(known->name)));
  context.output.note("The host itself still lists this client; remove it there too if that matters.");
  return {};
}

}  // namespace

std::vector<Command> hostCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "discover",
       .arguments = "",
       .summary = "list the hosts that announce themselves on this network",
       .details =
           "Columns: name, network name, address. A host that does not announce itself can be reached\n"
           "by its address.\n",
       .options = {{"--seconds", "N", "listen at most this long (default 3)"},
                   {"--json", "", "one JSON list"}},
       .examples = {"discover", "discover --json --seconds 1"},
       .run = runDiscover});
  commands.push_back(
      {.name = "pair",
       .arguments = "HOST",
       .summary = "pair with a host, using the PIN that it shows",
       .details =
           "Needed once per host. The host returns a token, which is kept in hosts.json and identifies\n"
           "this client from then on. Without --pin the PIN is asked for on the terminal.\n",
       .options = {{"--pin", "N", "the six digits"}},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"pair desk.local", "pair 10.0.0.2:47905 --pin 012345"},
       .run = runPair});
  commands.push_back({.name = "hosts",
                      .arguments = "",
                      .summary = "list the paired hosts",
                      .details = "Columns: name, address, identity.\n",
                      .options = {{"--json", "", "one JSON list, without the tokens"}},
                      .examples = {"hosts", "hosts --json"},
                      .run = runHosts});
  commands.push_back({.name = "forget",
                      .arguments = "HOST",
                      .summary = "forget a pairing",
                      .details = "",
                      .options = {},
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"forget desk.local"},
                      .run = runForget});
  return commands;
}

}  // namespace quorl::client
