// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/StreamOptions.h>
#include <quorl-client/Recording/PngWriter.h>
#include <quorl-client/Recording/StreamRecording.h>
#include <quorl-client/Sound/SoundReceiver.h>
#include <quorl-client/Video/Decoder.h>
#include <quorl-client/Video/StatsMeter.h>

namespace quorl::client {
namespace {

struct OpenStream {
  std::unique_ptr<Session> session;
  std::unique_ptr<VideoReceiver> receiver;
};

Outcome<OpenStream> openStream(const Arguments& arguments, CommandContext& context) {
  auto options = streamOptions(arguments);
  if (!options) return std::unexpected(options.error());
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  if (arguments.has("--udp") && !(*session)->carriesDatagrams())
    context.output.note("Through ssh the pictures come on the connection itself; --udp has no effect.");
  context.waiter.activity = "waiting for a picture";
  auto receiver = VideoReceiver::start(**session, std::move(options->target), options->config,
                                       options->transport, options->view);
  if (!receiver) return std::unexpected(receiver.error());
  return OpenStream{std::move(*session), std::move(*receiver)};
}

void closeStream(OpenStream& stream) {
  if (stream.receiver->stop()) closeSession(*stream.session);
}

std::unexpected<ClientError> noPicture(const Arguments& arguments) {
  return failed(ExitCode::timedOut, "no picture came in time",
                arguments.has("--udp") ? "A firewall may block the datagrams; try without --udp."
                                       : "A minimised or hidden window sends no pictures.");
}

Clock::duration secondsOf(double seconds) {
  return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// The decoded pictures of an event. A decoder that holds a key frame back is drained.
Outcome<std::vector<DecodedPicture>> decodeStill(Decoder& decoder, VideoReceiver& receiver, Bytes& record,
                                                 VideoEvent& event) {
  if (auto* config = std::get_if<DecoderConfig>(&event)) {
    record = std::move(config->record);
    if (auto configured = decoder.configure(record); !configured) return std::unexpected(configured.error());
    return std::vector<DecodedPicture>();
  }
  const auto* picture = std::get_if<EncodedPicture>(&event);
  if (picture == nullptr) return std::vector<DecodedPicture>();
  auto decoded = decoder.decode(picture->data, picture->ptsMicros);
  if (decoded.empty() && picture->isKeyframe) {
    decoded = decoder.drain();
    if (auto configured = decoder.configure(record); !configured) return std::unexpected(configured.error());
  }
  if (decoded.empty())
    if (auto requested = receiver.requestKeyframe(); !requested) return std::unexpected(requested.error());
  return decoded;
}

Outcome<void> runShot(const Arguments& arguments, CommandContext& context) {
  const auto settle = arguments.number("--settle", 0, 0, 600);
  if (!settle) return std::unexpected(settle.error());
  auto stream = openStream(arguments, context);
  if (!stream) return std::unexpected(stream.error());
  auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  Decoder decoder;
  Bytes record;
  std::optional<DecodedPicture> shown;
  for (;;) {
    auto event = stream->receiver->next(*deadline);
    if (!event) return std::unexpected(event.error());
    if (!*event) break;
    auto decoded = decodeStill(decoder, *stream->receiver, record, **event);
    if (!decoded) return std::unexpected(decoded.error());
    if (decoded->empty()) continue;
    if (!shown) deadline = within(secondsOf(*settle));
    shown = std::move(decoded->back());
    if (*settle == 0) break;
  }
  if (!shown) return noPicture(arguments);
  closeStream(*stream);
  const auto& path = arguments.positional()[0];
  if (auto written = writePNG(*shown, path); !written) return written;
  context.output.note(fmt::format("{}: {}x{} pixels", path, shown->size().width, shown->size().height));
  return {};
}

enum class RecordingEnd : std::uint8_t { complete, interrupted, formatChanged, connectionLost };

Outcome<void> resultOf(RecordingEnd end) {
  switch (end) {
    case RecordingEnd::complete:
    case RecordingEnd::interrupted:
      return {};
    case RecordingEnd::formatChanged:
      return failed(ExitCode::failure, "the picture's format changed, which ends the recording",
                    "The file is complete up to there; record again for the rest.");
    case RecordingEnd::connectionLost:
      return failed(ExitCode::failure, "the stream ended before the time was over",
                    "The file is complete up to there.");
  }
  return {};
}

// The sound that came with the pictures.
Outcome<void> takeSound(StreamRecording& recording, SoundReceiver& sound) {
  while (auto event = sound.next())
    if (auto taken = recording.take(std::move(*event)); !taken) return taken;
  return recording.tick(Clock::now());
}

// Records until the time is over or something ends it. An end that leaves a usable file is not a failure
// here.
Outcome<RecordingEnd> record(StreamRecording& recording, VideoReceiver& receiver, SoundReceiver& sound,
                             Deadline firstPicture, double seconds, Output& output) {
  for (;;) {
    const auto begun = recording.firstArrival();
    const auto end = begun ? *begun + secondsOf(seconds) : firstPicture;
    if (Clock::now() >= end) return RecordingEnd::complete;
    auto event = receiver.next(std::min(end, within(std::chrono::milliseconds(500))));
    if (!event && !begun) return std::unexpected(event.error());
    if (!event)
      return event.error().code == ExitCode::interrupted ? RecordingEnd::interrupted
                                                         : RecordingEnd::connectionLost;
    if (begun)
      output.progress(fmt::format("recorded {:.1f} of {:g} s, {} KiB",
                                  std::chrono::duration<double>(Clock::now() - *begun).count(), seconds,
                                  recording.bytes() >> 10U));
    if (*event) {
      const auto verdict = recording.take(std::move(**event));
      if (!verdict) return std::unexpected(verdict.error());
      if (*verdict == StreamRecording::Verdict::formatChanged) return RecordingEnd::formatChanged;
    }
    if (auto taken = takeSound(recording, sound); !taken) return std::unexpected(taken.error());
  }
}

// Passes frames and messages about sound from the receiver of pictures, and asks for sound.
Outcome<void> subscribe(SoundReceiver& sound, VideoReceiver& receiver) {
  receiver.onFrame = [&sound](const Frame& frame) { sound.take(frame); };
  receiver.onControl = [&sound](const ControlMessage& control) { sound.take(control); };
  return sound.subscribe();
}

Outcome<void> runRecord(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 10, 0.1, 86400);
  if (!seconds) return std::unexpected(seconds.error());
  auto stream = openStream(arguments, context);
  if (!stream) return std::unexpected(stream.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto& path = arguments.positional()[0];
  const bool isMute = arguments.has("--no-sound");
  StreamRecording recording(path, isMute ? StreamRecording::Sound::none : StreamRecording::Sound::wanted);
  SoundReceiver sound(*stream->session);
  if (!isMute)
    if (auto subscribed = subscribe(sound, *stream->receiver); !subscribed)
      return std::unexpected(subscribed.error());
  const auto end = record(recording, *stream->receiver, sound, *deadline, *seconds, context.output);
  if (!end) return std::unexpected(end.error());
  if (!recording.firstArrival()) return noPicture(arguments);
  const auto length = std::chrono::duration<double>(Clock::now() - *recording.firstArrival()).count();
  const auto pictures = recording.finish();
  if (!pictures) return std::unexpected(pictures.error());
  if (*end != RecordingEnd::connectionLost) closeStream(*stream);
  context.output.note(fmt::format("{}: {:.1f} s, {} pictures, {}", path, length, *pictures,
                                  recording.hasSound() ? "with sound" : "no sound"));
  return resultOf(*end);
}

void printInterval(Output& output, const StatsReport& report, bool asJSON) {
  if (asJSON) {
    printRecord(output, report);
    return;
  }
  const auto optional = [](const std::optional<double>& value) {
    return value ? fmt::format("{:6.2f}", *value) : std::string("     -");
  };
  output.line(fmt::format(
      "{}{:6.1f} s  {:5.1f} fps  {:7.3f} Mbit/s  decode {} ms  jitter {} ms  round trip {} ms  lost {}",
      report.isTotal ? "total " : "      ", report.seconds, report.framesPerSecond, report.megabitsPerSecond,
      optional(report.decodeMilliseconds), optional(report.jitterMilliseconds),
      optional(report.roundTripMilliseconds), report.lostFrames));
}

Outcome<void> probeRoundTrip(Session& session, std::uint32_t sequence) {
  const auto now = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch());
  return session.send(
      ControlMessage(message::EchoRequest{{sequence, static_cast<std::uint64_t>(now.count()), {}}}));
}

Outcome<void> measure(StatsMeter& meter, Decoder& decoder, VideoReceiver& receiver, VideoEvent event) {
  if (const auto* config = std::get_if<DecoderConfig>(&event)) return decoder.configure(config->record);
  const auto* picture = std::get_if<EncodedPicture>(&event);
  if (picture == nullptr) return {};
  const auto begin = Clock::now();
  const auto decoded = decoder.decode(picture->data, picture->ptsMicros);
  meter.picture({picture->arrival, picture->ptsMicros, picture->data.size(), picture->isKeyframe},
                decoded.empty() ? std::nullopt : std::optional(Clock::now() - begin));
  return decoded.empty() ? receiver.requestKeyframe() : Outcome<void>();
}

Outcome<void> runStats(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 10, 0.1, 86400);
  if (!seconds) return std::unexpected(seconds.error());
  auto stream = openStream(arguments, context);
  if (!stream) return std::unexpected(stream.error());
  const bool asJSON = arguments.has("--json");
  const auto begin = Clock::now();
  const auto end = begin + secondsOf(*seconds);
  StatsMeter meter(begin);
  Decoder decoder;
  stream->receiver->onControl = [&](const ControlMessage& control) {
    if (const auto* reply = std::get_if<message::EchoReply>(&control))
      meter.roundTrip(Clock::now() - Clock::time_point(std::chrono::microseconds(reply->_0.clientMicros)));
  };
  auto nextReport = begin;
  Outcome<void> result;
  for (std::uint32_t sequence = 0; Clock::now() < end && result;) {
    if (Clock::now() >= nextReport) {
      if (nextReport != begin)
        printInterval(context.output, meter.interval(Clock::now(), stream->receiver->lostFrames()), asJSON);
      nextReport += std::chrono::seconds(1);
      result = probeRoundTrip(*stream->session, sequence++);
      continue;
    }
    auto event = stream->receiver->next(std::min(end, nextReport));
    if (!event)
      result = std::unexpected(event.error());
    else if (*event)
      result = measure(meter, decoder, *stream->receiver, std::move(**event));
  }
  if (!result && result.error().code != ExitCode::interrupted) return result;
  const auto total = meter.total(Clock::now(), stream->receiver->lostFrames());
  printInterval(context.output, total, asJSON);
  closeStream(*stream);
  if (total.frames == 0 && result) return noPicture(arguments);
  return {};
}

std::vector<OptionSpec> withStreamOptions(std::vector<OptionSpec> options) {
  const auto shared = streamOptionSpecs();
  options.insert(options.end(), shared.begin(), shared.end());
  return options;
}

}  // namespace

std::vector<Command> videoCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "shot",
       .arguments = "OUT.png",
       .summary = "save a picture of a host's screen, window or application",
       .details = "Writes the first picture of a stream. The first picture after a large change can\n"
                  "be coarse; --settle waits for the sharper ones after it.\n",
       .options = withStreamOptions(
           {{"--settle", "SECONDS", "take the last picture within this time (default 0: the first)"}}),
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"shot screen.png", "shot editor.png --window 4194311 --settle 1"},
       .run = runShot});
  commands.push_back(
      {.name = "record",
       .arguments = "OUT.mp4",
       .summary = "record a stream and the host's sound to an MP4 file",
       .details = "Pictures and sound are stored as received, without encoding them again. The time starts\n"
                  "with the first picture. Ctrl-C ends the recording early and leaves a complete file.\n"
                  "The file has no sound if the host sends none within the first second.\n",
       .options = withStreamOptions(
           {{"--seconds", "N", "how long (default 10)"}, {"--no-sound", "", "record the pictures only"}}),
       .minimumPositional = 1,
       .maximumPositional = 1,
       .examples = {"record demo.mp4 --seconds 30", "record app.mp4 --app org.example.editor --codec hevc"},
       .run = runRecord});
  commands.push_back(
      {.name = "stats",
       .arguments = "",
       .summary = "measure a stream: frame rate, bit rate, decoding, jitter, round trips",
       .details =
           "Prints one line a second and a total. Jitter is the variation of arrival times against the\n"
           "host's time stamps; round trips are measured with echoes on the same connection. A screen\n"
           "that does not change sends no pictures, so its frame rate is 0.\n",
       .options = withStreamOptions(
           {{"--seconds", "N", "how long (default 10)"}, {"--json", "", "one JSON object a line"}}),
       .examples = {"stats", "stats --udp --seconds 60 --json"},
       .run = runStats});
  return commands;
}

}  // namespace quorl::client
