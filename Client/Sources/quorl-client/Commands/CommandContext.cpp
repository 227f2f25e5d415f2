// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/CommandContext.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {

Outcome<Deadline> answerDeadline(const Arguments& arguments) {
  const auto seconds = arguments.number("--timeout", 10, 0.1, 3600);
  if (!seconds) return std::unexpected(seconds.error());
  return within(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds)));
}

Outcome<PairedHost> chosenHost(const Arguments& arguments, const HostBookContents& contents,
                               const std::string& positionalHost) {
  const auto wanted = positionalHost.empty() ? arguments.text("--host").value_or("") : positionalHost;
  if (wanted.empty()) {
    if (contents.hosts.size() == 1) return contents.hosts.front();
    if (contents.hosts.empty())
      return failed(ExitCode::refused, "no host is paired yet",
                    "Pair with 'quorl_client pair HOST'; 'quorl_client discover' lists hosts.");
    return failed(ExitCode::usage, "several hosts are paired; choose one with --host",
                  "'quorl_client hosts' lists them.");
  }
  if (const auto* host = contents.find(wanted)) return *host;
  if (!HostAddress::parse(wanted))
    return failed(ExitCode::usage, fmt::format("'{}' is not a host name or address", wanted),
                  addressExamples);
  return failed(ExitCode::refused, fmt::format("this client is not paired with {}", wanted),
                fmt::format("Pair with 'quorl_client pair {}'.", wanted));
}

Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost) {
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  return openSession(arguments, context, positionalHost, *deadline);
}

Outcome<std::unique_ptr<Session>> openSession(const Arguments& arguments, CommandContext& context,
                                              const std::string& positionalHost, Deadline deadline,
                                              Questions questions) {
  const auto contents = context.book.load();
  if (!contents) return std::unexpected(contents.error());
  const auto host = chosenHost(arguments, *contents, positionalHost);
  if (!host) return std::unexpected(host.error());
  return openPairedSession(*host, clientDevice(contents->deviceID), context.waiter, deadline, questions);
}

Outcome<void> settle(Session& session, Deadline deadline) {
  constexpr std::uint32_t settleSequence = 0xFFFFFFFF;
  const ControlMessage probe(message::EchoRequest{{settleSequence, 0, {}}});
  if (auto sent = session.send(probe); !sent) return sent;
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received)
      return failed(ExitCode::timedOut, "the host did not confirm the request in time",
                    "It may be busy; try a longer --timeout.");
    if (const auto* error = std::get_if<message::Error>(&**received))
      return failed(ExitCode::failure, fmt::format("the host did not do it: {} ({})",
                                                   printable(error->_0.message), printable(error->_0.code)));
    if (const auto* reply = std::get_if<message::EchoReply>(&**received))
      if (reply->_0.seq == settleSequence) return {};
  }
}

Outcome<std::string> readInput(CommandContext& context, std::size_t limit, const std::string& tooLong) {
  if (context.inputDescriptor < 0) return failed(ExitCode::usage, "there is no standard input to read");
  std::string text;
  for (;;) {
    pollfd descriptor{context.inputDescriptor, POLLIN, 0};
    const auto ready = context.waiter.wait({&descriptor, 1}, within(std::chrono::hours(24)));
    if (!ready) return std::unexpected(ready.error());
    std::array<char, 65'536> chunk;
    const auto count = ::read(context.inputDescriptor, chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0)
      return failed(ExitCode::failure, std::string("standard input cannot be read: ") + std::strerror(errno));
    if (count == 0) return text;
    text.append(chunk.data(), static_cast<std::size_t>(count));
    if (text.size() > limit) return failed(ExitCode::usage, tooLong);
  }
}

void closeSession(Session& session) {
  session.finish(within(std::chrono::milliseconds(500)));
}

}  // namespace quorl::client
