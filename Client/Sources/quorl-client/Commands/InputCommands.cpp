// SPDX-License-Identifier: GPL-3.0-or-later
#include <thread>

#include <fmt/format.h>

#include <quorl-client/Commands/StreamOptions.h>
#include <quorl-client/Input/KeyNames.h>

namespace quorl::client {
namespace {

constexpr std::size_t maxTypedText = 8 << 20;

// Positions are relative to a stream, so one is opened for them. It costs the host almost nothing.
struct PointerStream {
  std::unique_ptr<Session> session;
  std::unique_ptr<VideoReceiver> receiver;
  PointRect contentRect;
};

Outcome<PointerStream> openPointerStream(const Arguments& arguments, CommandContext& context) {
  auto target = streamTargetOption(arguments);
  if (!target) return std::unexpected(target.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const StreamConfig smallest{64, 1, VideoCodec::h264, 0, false};
  auto receiver = VideoReceiver::start(**session, std::move(*target), smallest, VideoTransport::tcp);
  if (!receiver) return std::unexpected(receiver.error());
  for (;;) {
    const auto event = (*receiver)->next(*deadline);
    if (!event) return std::unexpected(event.error());
    if (!*event)
      return failed(ExitCode::timedOut, "the host did not report where the target is on its screen",
                    "'quorl_client info' lists displays, windows and applications.");
    const auto* started = std::get_if<StreamStarted>(&**event);
    if (started == nullptr || started->contentRect.isEmpty()) continue;
    return PointerStream{std::move(*session), std::move(*receiver), started->contentRect};
  }
}

Outcome<void> finishInput(const Arguments& arguments, PointerStream& stream) {
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto settled = settle(*stream.session, *deadline);
  if (!settled) return settled;
  if (auto stopped = stream.receiver->stop(); !stopped) return stopped;
  closeSession(*stream.session);
  return {};
}

// A position for the wire: 0 to 1 in the target.
Outcome<PointXY> normalised(PointXY given, const PointRect& content, bool isNormalised) {
  const PointXY result =
      isNormalised ? given : PointXY{given.x / content.size.width, given.y / content.size.height};
  if (result.x >= 0 && result.x <= 1 && result.y >= 0 && result.y <= 1) return result;
  return failed(ExitCode::usage, fmt::format("{:g},{:g} is outside the target", given.x, given.y),
                isNormalised ? "Normalised positions go from 0 to 1."
                             : fmt::format("It is {:g} points wide and {:g} high.", content.size.width,
                                           content.size.height));
}

std::optional<PointerButton> parseButton(std::string_view name) {
  if (name == "left") return PointerButton::left;
  if (name == "right") return PointerButton::right;
  if (name == "middle") return PointerButton::middle;
  return std::nullopt;
}

Outcome<void> sendClicks(Session& session, inputEvent::Pointer pointer, int count) {
  pointer.phase = PointerPhase::hover;
  if (auto sent = session.send(InputEvent(pointer)); !sent) return sent;
  for (int click = 1; click <= count; ++click) {
    pointer.clickCount = static_cast<std::uint8_t>(click);
    for (const auto phase : {PointerPhase::down, PointerPhase::up}) {
      pointer.phase = phase;
      if (auto sent = session.send(InputEvent(pointer)); !sent) return sent;
    }
  }
  return {};
}

Outcome<void> runClick(const Arguments& arguments, CommandContext& context) {
  const auto x = arguments.positionalNumber(0, "X");
  if (!x) return std::unexpected(x.error());
  const auto y = arguments.positionalNumber(1, "Y");
  if (!y) return std::unexpected(y.error());
  const auto button = parseButton(arguments.text("--button").value_or("left"));
  if (!button) return failed(ExitCode::usage, "--button must be left, right or middle");
  const auto count = arguments.integer("--count", 1, 1, 10);
  if (!count) return std::unexpected(count.error());
  auto stream = openPointerStream(arguments, context);
  if (!stream) return std::unexpected(stream.error());
  const auto position = normalised({*x, *y}, stream->contentRect, arguments.has("--normalized"));
  if (!position) return std::unexpected(position.error());
  inputEvent::Pointer pointer;
  pointer.streamID = stream->receiver->streamID();
  pointer.button = *button;
  pointer.x = static_cast<float>(position->x);
  pointer.y = static_cast<float>(position->y);
  if (auto sent = sendClicks(*stream->session, pointer, static_cast<int>(*count)); !sent) return sent;
  return finishInput(arguments, *stream);
}

// "X,Y"
Outcome<PointXY> parsePosition(const std::string& text) {
  const auto comma = text.find(',');
  const auto x = parseNumber(std::string_view(text).substr(0, comma));
  const auto y =
      comma == std::string::npos ? std::nullopt : parseNumber(std::string_view(text).substr(comma + 1));
  if (!x || !y) return failed(ExitCode::usage, fmt::format("--at must be X,Y, not '{}'", text));
  return PointXY{*x, *y};
}

Outcome<void> runScroll(const Arguments& arguments, CommandContext& context) {
  const auto deltaX = arguments.positionalNumber(0, "DX");
  if (!deltaX) return std::unexpected(deltaX.error());
  const auto deltaY = arguments.positionalNumber(1, "DY");
  if (!deltaY) return std::unexpected(deltaY.error());
  std::optional<PointXY> at;
  if (const auto text = arguments.text("--at")) {
    const auto parsed = parsePosition(*text);
    if (!parsed) return std::unexpected(parsed.error());
    at = *parsed;
  }
  auto stream = openPointerStream(arguments, context);
  if (!stream) return std::unexpected(stream.error());
  const auto position = at ? normalised(*at, stream->contentRect, arguments.has("--normalized"))
                           : Outcome<PointXY>(PointXY{0.5, 0.5});
  if (!position) return std::unexpected(position.error());
  inputEvent::Scroll scroll;
  scroll.streamID = stream->receiver->streamID();
  scroll.x = static_cast<float>(position->x);
  scroll.y = static_cast<float>(position->y);
  scroll.deltaX = static_cast<float>(*deltaX);
  scroll.deltaY = static_cast<float>(*deltaY);
  scroll.precise = arguments.has("--precise");
  if (auto sent = stream->session->send(InputEvent(scroll)); !sent) return sent;
  return finishInput(arguments, *stream);
}

// How long the host may take to type a text, which it does not confirm. It types 500 characters a second or
// more. The command ends when the text has been typed; of a long text the host would drop the rest.
std::chrono::milliseconds typingTime(const std::string& text) {
  return std::chrono::milliseconds(100 + 4 * text.size());
}

Outcome<void> runType(const Arguments& arguments, CommandContext& context) {
  auto text = arguments.positional()[0] == "-"
                  ? readInput(context, maxTypedText, "the text is too long to type (the limit is 8 MiB)")
                  : Outcome<std::string>(arguments.positional()[0]);
  if (!text) return std::unexpected(text.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto typing = typingTime(*text);
  if (auto sent = (*session)->send(ControlMessage(message::InsertText{std::move(*text)})); !sent) return sent;
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto settled = settle(**session, *deadline);
  if (settled) std::this_thread::sleep_for(typing);
  if (settled) closeSession(**session);
  return settled;
}

Outcome<void> runKey(const Arguments& arguments, CommandContext& context) {
  std::vector<KeyPress> presses;
  for (const auto& word : arguments.positional()) {
    const auto press = parseKeyPress(word);
    if (!press)
      return failed(ExitCode::usage, fmt::format("'{}' is not a key", word),
                    "'quorl_client help key' lists them.");
    presses.push_back(*press);
  }
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  for (const auto& press : presses)
    for (const auto& event : keyEvents(press))
      if (auto sent = (*session)->send(InputEvent(event)); !sent) return sent;
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  auto settled = settle(**session, *deadline);
  if (settled) closeSession(**session);
  return settled;
}

std::vector<OptionSpec> withTarget(std::vector<OptionSpec> options) {
  const auto target = targetOptionSpecs();
  options.insert(options.end(), target.begin(), target.end());
  return options;
}

constexpr OptionSpec normalisedOption{"--normalized", "", "positions go from 0 to 1 instead of being points"};

}  // namespace

std::vector<Command> inputCommands() {
  std::vector<Command> commands;
  commands.push_back({.name = "click",
                      .arguments = "X Y",
                      .summary = "click on a host's screen, window or application",
                      .details =
                          "X and Y are points from the upper left corner of the target. Without a target\n"
                          "option it is the main display.\n",
                      .options = withTarget({{"--button", "NAME", "left (default), right or middle"},
                                             {"--count", "N", "2 is a double click (default 1)"},
                                             normalisedOption}),
                      .minimumPositional = 2,
                      .maximumPositional = 2,
                      .examples = {"click 200 150", "click 0.5 0.5 --normalized --window 4194311 --count 2"},
                      .run = runClick});
  commands.push_back({.name = "type",
                      .arguments = "TEXT",
                      .summary = "type text into whatever has the host's keyboard focus",
                      .details = "Any Unicode text; '-' reads the text from standard input.\n",
                      .options = {},
                      .minimumPositional = 1,
                      .maximumPositional = 1,
                      .examples = {"type 'Hello, world'", "type - < note.txt"},
                      .run = runType});
  commands.push_back({.name = "key",
                      .arguments = "NAME[+MODIFIER...] ...",
                      .summary = "press keys one after another",
                      .details = keyNameHelp(),
                      .options = {},
                      .minimumPositional = 1,
                      .maximumPositional = 1000,
                      .examples = {"key return", "key a+command c+command", "key 0x7e down"},
                      .run = runKey});
  commands.push_back({.name = "scroll",
                      .arguments = "DX DY",
                      .summary = "scroll on a host's screen, window or application",
                      .details = "DX and DY are lines, or points with --precise. A positive DY scrolls up.\n",
                      .options = withTarget({{"--precise", "", "DX and DY are points"},
                                             {"--at", "X,Y", "where (default: the middle of the target)"},
                                             normalisedOption}),
                      .minimumPositional = 2,
                      .maximumPositional = 2,
                      .examples = {"scroll 0 -3", "scroll 0 120 --precise --at 300,200"},
                      .run = runScroll});
  return commands;
}

}  // namespace quorl::client
