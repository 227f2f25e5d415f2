// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/FitInstruction.h>
#include <quorl-client/Commands/StreamOptions.h>

namespace quorl::client {
namespace {

constexpr std::size_t longestLine = 1'024;

/// A stream whose fit is changed by the lines of an input.
class FittedStream {
 public:
  FittedStream(Session& session, VideoReceiver& receiver, Output& output)
      : session_(session), receiver_(receiver), output_(output) {
    receiver_.onControl = [this](const ControlMessage& control) {
      const auto* state = std::get_if<message::FitState>(&control);
      if (state != nullptr && state->streamID == receiver_.streamID())
        output_.line(state->fitted ? "fitted" : "not fitted");
    };
  }

  bool isOver() const { return isOver_; }

  /// Takes what the input has now. Nothing more is read after its end.
  Outcome<void> readInput(int descriptor, Waiter& waiter) {
    std::array<char, 4'096> chunk;
    const auto count = ::read(descriptor, chunk.data(), chunk.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return {};
    if (count <= 0) {
      waiter.alsoWatched = -1;
      return {};
    }
    unread_.append(chunk.data(), static_cast<std::size_t>(count));
    for (auto end = unread_.find('\n'); end != std::string::npos; end = unread_.find('\n')) {
      const std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      if (auto obeyed = obey(line); !obeyed) return obeyed;
    }
    if (unread_.size() > longestLine) return failed(ExitCode::usage, "a line of the input is too long");
    return {};
  }

  /// Shows the events of the stream until the deadline or the end.
  Outcome<void> run(Deadline end) {
    while (!isOver_ && Clock::now() < end) {
      auto event = receiver_.next(std::min(end, within(std::chrono::milliseconds(500))));
      if (!event) return std::unexpected(event.error());
      if (!*event) continue;
      if (const auto* started = std::get_if<StreamStarted>(&**event)) show(*started);
    }
    return {};
  }

 private:
  void show(const StreamStarted& started) {
    const PointRect& rect = started.contentRect;
    output_.line(fmt::format("{}x{} pixels, window at {:g},{:g} with {:g}x{:g} points", started.pixelWidth,
                             started.pixelHeight, rect.origin.x, rect.origin.y, rect.size.width,
                             rect.size.height));
  }

  Outcome<void> obey(const std::string& line) {
    const auto instruction = parseFitInstruction(line);
    if (!instruction) {
      output_.note(instruction.error());
      return {};
    }
    return std::visit([this](const auto& order) { return obey(order); }, *instruction);
  }
  Outcome<void> obey(const fitInstruction::Nothing&) { return {}; }
  Outcome<void> obey(const fitInstruction::Quit&) {
    isOver_ = true;
    return {};
  }
  Outcome<void> obey(const fitInstruction::Fit& order) {
    return session_.send(ControlMessage(message::FitToScreen{receiver_.streamID(), order.enabled}));
  }
  Outcome<void> obey(const fitInstruction::Scale& order) {
    return session_.send(ControlMessage(message::WindowScale{receiver_.streamID(), order.scale}));
  }
  Outcome<void> obey(const fitInstruction::View& order) {
    return session_.send(
        ControlMessage(message::ScreenInfo{receiver_.streamID(), order.size.width, order.size.height}));
  }

  Session& session_;
  VideoReceiver& receiver_;
  Output& output_;
  std::string unread_;
  bool isOver_ = false;
};

Outcome<void> runFit(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 10, 0.1, 86400);
  if (!seconds) return std::unexpected(seconds.error());
  auto options = streamOptions(arguments);
  if (!options) return std::unexpected(options.error());
  if (!arguments.has("--window") && !arguments.has("--app"))
    return failed(ExitCode::usage, "fit needs --window or --app",
                  "'quorl_client info' lists windows and applications.");
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  auto receiver = VideoReceiver::start(**session, std::move(options->target), options->config,
                                       options->transport, options->view);
  if (!receiver) return std::unexpected(receiver.error());
  FittedStream stream(**session, **receiver, context.output);
  if (context.inputDescriptor >= 0) {
    context.waiter.alsoWatched = context.inputDescriptor;
    context.waiter.onWatched = [&] { return stream.readInput(context.inputDescriptor, context.waiter); };
  }
  auto done = stream.run(
      within(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*seconds))));
  context.waiter.alsoWatched = -1;
  context.waiter.onWatched = nullptr;
  if (!done && done.error().code != ExitCode::interrupted) return done;
  if ((*receiver)->stop()) closeSession(**session);
  return {};
}

}  // namespace

std::vector<Command> fitCommands() {
  std::vector<OptionSpec> options{{"--seconds", "N", "how long (default 10)"}};
  for (OptionSpec& option : streamOptionSpecs()) options.push_back(option);
  std::vector<Command> commands;
  commands.push_back(
      {.name = "fit",
       .arguments = "",
       .summary = "fit a host's window to a view while its stream runs",
       .details =
           "Prints a line for each new place or size of the window and for each change of the fit. The\n"
           "host gives the window its frame back at the end. Lines of standard input change the fit:\n"
           "  view 1024x768   the size of the view; the window gets its shape\n"
           "  fit off         give the window back; 'fit on' fits it again\n"
           "  scale 0.5       the window's size, 0.3 to 1 of the largest that fits\n"
           "  quit            end before the time is over\n",
       .options = options,
       .examples = {"fit --window 4194311 --view 1024x768", "fit --app org.example.editor --seconds 60"},
       .run = runFit});
  return commands;
}

}  // namespace quorl::client
