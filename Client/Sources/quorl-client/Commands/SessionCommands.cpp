// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {

// Times in microseconds.
struct EchoReport {
  std::int64_t sent = 0;
  std::int64_t received = 0;
  std::int64_t size = 0;
  bool pipelined = false;
  double seconds = 0;
  std::optional<double> minimum;
  std::optional<double> median;
  std::optional<double> p95;
  std::optional<double> maximum;
  double messagesPerSecond = 0;
  double megabytesPerSecond = 0;  // of padding, in each direction
};
BOOST_DESCRIBE_STRUCT(EchoReport, (),
                      (sent, received, size, pipelined, seconds, minimum, median, p95, maximum,
                       messagesPerSecond, megabytesPerSecond))

namespace {

class EchoRun {
 public:
  EchoRun(Session& session, std::int64_t count, std::int64_t size, std::size_t inFlight)
      : session_(session),
        count_(count),
        padding_(static_cast<std::size_t>(size), 0x51),
        inFlight_(inFlight) {}

  // Returns when all replies have arrived, else fails; the times so far are kept.
  Outcome<void> run(std::chrono::duration<double> patience) {
    const auto step = std::chrono::duration_cast<Clock::duration>(patience);
    while (received() < count_) {
      while (sent() < count_ && sentAt_.size() - roundTrips_.size() < inFlight_ &&
             session_.unsentBytes() < maxUnsent)
        if (auto sending = sendOne(); !sending) return sending;
      const auto reply = session_.nextControl(within(step));
      if (!reply) return std::unexpected(reply.error());
      if (!*reply) return failed(ExitCode::timedOut, "an echo did not come back in time");
      if (const auto* echo = std::get_if<message::EchoReply>(&**reply)) note(echo->_0);
    }
    return {};
  }

  std::int64_t sent() const { return static_cast<std::int64_t>(sentAt_.size()); }
  std::int64_t received() const { return static_cast<std::int64_t>(roundTrips_.size()); }
  // Microseconds.
  const std::vector<double>& roundTrips() const { return roundTrips_; }

 private:
  static constexpr std::size_t maxUnsent = 4 << 20;

  Outcome<void> sendOne() {
    EchoProbe probe;
    probe.seq = static_cast<std::uint32_t>(sentAt_.size());
    const auto now = Clock::now();
    probe.clientMicros = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count());
    probe.padding = padding_;
    sentAt_.push_back(now);
    return session_.send(ControlMessage(message::EchoRequest{std::move(probe)}));
  }

  void note(const EchoProbe& echo) {
    // The host answers in order, so only the reply that is due counts.
    if (echo.seq != roundTrips_.size() || echo.padding != padding_) return;
    roundTrips_.push_back(
        std::chrono::duration<double, std::micro>(Clock::now() - sentAt_[roundTrips_.size()]).count());
  }

  Session& session_;
  std::int64_t count_;
  Bytes padding_;
  std::size_t inFlight_;
  std::vector<Clock::time_point> sentAt_;
  std::vector<double> roundTrips_;
};

EchoReport summarise(const EchoRun& run, std::int64_t size, bool pipelined, double seconds) {
  EchoReport report{.sent = run.sent(),
                    .received = run.received(),
                    .size = size,
                    .pipelined = pipelined,
                    .seconds = seconds,
                    .minimum = {},
                    .median = {},
                    .p95 = {},
                    .maximum = {}};
  auto times = run.roundTrips();
  if (times.empty()) return report;
  std::ranges::sort(times);
  // Nearest rank.
  const auto quantile = [&](double share) {
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(times.size())));
    return times[std::max<std::size_t>(rank, 1) - 1];
  };
  report.minimum = times.front();
  report.median = quantile(0.5);
  report.p95 = quantile(0.95);
  report.maximum = times.back();
  if (seconds > 0) {
    report.messagesPerSecond = static_cast<double>(times.size()) / seconds;
    report.megabytesPerSecond = report.messagesPerSecond * static_cast<double>(size) / 1e6;
  }
  return report;
}

Outcome<void> runEcho(const Arguments& arguments, CommandContext& context) {
  const auto count = arguments.integer("--count", 10, 1, 1'000'000);
  if (!count) return std::unexpected(count.error());
  // Base64 makes four characters from three bytes, and all of it must fit in a frame.
  const auto size = arguments.integer("--size", 0, 0, 24'000'000);
  if (!size) return std::unexpected(size.error());
  const auto patience = arguments.number("--timeout", 10, 0.1, 3600);
  if (!patience) return std::unexpected(patience.error());
  auto session = openSession(arguments, context,
                             arguments.positional().empty() ? std::string() : arguments.positional()[0]);
  if (!session) return std::unexpected(session.error());
  const bool pipelined = arguments.has("--pipelined");
  EchoRun run(**session, *count, *size, pipelined ? 256 : 1);
  const auto begin = Clock::now();
  const auto ran = run.run(std::chrono::duration<double>(*patience));
  const auto report =
      summarise(run, *size, pipelined, std::chrono::duration<double>(Clock::now() - begin).count());
  if (arguments.has("--json")) {
    printRecord(context.output, report);
  } else if (report.median) {
    context.output.line(
        fmt::format("{} of {} echoes of {} bytes", report.received, report.sent, report.size));
    context.output.line(
        fmt::format("round trip: min {:.0f}, median {:.0f}, p95 {:.0f}, max {:.0f} microseconds",
                    *report.minimum, *report.median, *report.p95, *report.maximum));
    if (pipelined)
      context.output.line(fmt::format("throughput: {:.0f} messages/s, {:.1f} MB/s each way",
                                      report.messagesPerSecond, report.megabytesPerSecond));
  }
  if (ran) closeSession(**session);
  return ran;
}

Outcome<OutgoingFrame> frameToSend(const Arguments& arguments) {
  const auto& json = arguments.positional()[0];
  if (arguments.has("--raw")) return OutgoingFrame::raw(FrameType::control, shareBytes(bytesOf(json)));
  const auto decoded = ControlCoder::decode(viewOf(json));
  if (!decoded)
    return failed(ExitCode::usage, "this is not a control message: " + decoded.error().text,
                  "A message is one JSON object with one known key; --raw sends anything.");
  auto frame = OutgoingFrame::control(*decoded);
  if (!frame) return failed(ExitCode::usage, "the message cannot be sent: " + frame.error().text);
  return std::move(*frame);
}

Outcome<void> runSend(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 2, 0, 86400);
  if (!seconds) return std::unexpected(seconds.error());
  const auto frame = frameToSend(arguments);
  if (!frame) return std::unexpected(frame.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  if (auto sent = (*session)->send(*frame); !sent) return sent;
  const auto deadline =
      within(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds)));
  std::uint64_t otherFrames = 0;
  Outcome<void> result;
  for (;;) {
    while (const auto received = (*session)->takeFrame()) {
      const auto decoded = (*session)->decodeControl(*received);
      const auto encoded = decoded ? ControlCoder::encode(*decoded) : std::unexpected(CodingError{});
      if (encoded)
        context.output.line(textViewOf(*encoded));
      else
        ++otherFrames;
    }
    const auto ready = (*session)->wait(deadline);
    if (!ready && ready.error().code != ExitCode::interrupted) result = std::unexpected(ready.error());
    if (!ready || *ready == Waiter::Ready::deadline) break;
  }
  if (otherFrames > 0) context.output.note(fmt::format("{} frames were not control messages.", otherFrames));
  if (result) closeSession(**session);
  return result;
}

}  // namespace

std::vector<Command> sessionCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "echo",
       .arguments = "[HOST]",
       .summary = "measure round trips to a host",
       .details = "Sends echo requests, one at a time or, with --pipelined, many at once.\n",
       .options = {{"--count", "N", "how many (default 10)"},
                   {"--size", "BYTES", "padding of each (default 0)"},
                   {"--pipelined", "", "send the next one without waiting for the reply"},
                   {"--json", "", "one JSON object, times in microseconds"}},
       .maximumPositional = 1,
       .examples = {"echo", "echo --count 1000 --json", "echo --pipelined --count 200 --size 1000000"},
       .run = runEcho});
  commands.push_back(
      {.name = "send",
       .arguments = "JSON",
       .summary = "send any control message and print what comes back",
       .details =
           "Prints each control message that arrives as one line of JSON, including those that a host\n"
           "sends unasked at the start of a session.\n",
       .options = {{"--seconds", "N", "how long to listen (default 2)"},
                   {"--raw", "", "send the text unchecked"}},
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"send '{\"requestUserList\":{}}'",
                    "send '{\"systemCommand\":{\"_0\":{\"setVolume\":{\"_0\":0.5}}}}' --seconds 0"},
       .run = runSend});
  return commands;
}

}  // namespace quorl::client
