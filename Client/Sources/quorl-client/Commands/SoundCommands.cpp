// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Recording/SoundFile.h>
#include <quorl-client/Sound/SoundDecoder.h>
#include <quorl-client/Sound/SoundPlayer.h>

namespace quorl::client {
namespace {

/// Where the sound goes.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual Outcome<void> configured(const AudioConfig& config) = 0;
  virtual Outcome<void> heard(SoundPacket packet) = 0;
  virtual Outcome<void> finish() { return {}; }
};

class PlayingListener final : public Listener {
 public:
  Outcome<void> configured(const AudioConfig& config) override { return decoder_.configure(config); }
  Outcome<void> heard(SoundPacket packet) override {
    auto sound = decoder_.decode(packet.data);
    if (sound.samples.empty()) return {};
    if (!player_ || sound.sampleRate != sampleRate_ || sound.channels != channels_) {
      player_.reset();
      sampleRate_ = sound.sampleRate;
      channels_ = sound.channels;
      auto opened = SoundPlayer::open(sampleRate_, channels_);
      if (!opened) return std::unexpected(opened.error());
      player_ = std::move(*opened);
    }
    player_->play(std::move(sound));
    return player_->state();
  }

 private:
  SoundDecoder decoder_;
  std::unique_ptr<SoundPlayer> player_;
  int sampleRate_ = 0;
  int channels_ = 0;
};

class SavingListener final : public Listener {
 public:
  explicit SavingListener(std::string path) : path_(std::move(path)) {}

  // A file has one configuration; a repeated one starts a new count of time stamps.
  Outcome<void> configured(const AudioConfig& config) override {
    if (config_ && *config_ != config)
      return failed(ExitCode::failure, "the sound's format changed, which ends the file",
                    "The file is complete up to there; listen again for the rest.");
    if (timeline_)
      if (auto written = write(timeline_->flush()); !written) return written;
    timeline_.emplace(config.sampleRate);
    if (config_) return {};
    config_ = config;
    auto file = SoundFile::create(path_, config);
    if (!file) return std::unexpected(file.error());
    file_ = std::move(*file);
    return {};
  }
  Outcome<void> heard(SoundPacket packet) override { return write(timeline_->add(std::move(packet))); }
  Outcome<void> finish() override {
    if (!file_) return {};
    if (auto written = write(timeline_->flush()); !written) return written;
    return file_->finish();
  }

 private:
  Outcome<void> write(const std::vector<PlacedSound>& sounds) {
    for (const auto& sound : sounds)
      if (auto written = file_->write(sound, timeline_->packetLength()); !written) return written;
    return {};
  }

  std::string path_;
  std::optional<AudioConfig> config_;
  std::optional<SoundTimeline> timeline_;
  std::unique_ptr<SoundFile> file_;
};

struct Heard {
  std::uint64_t packets = 0;
  Clock::time_point begin;
  std::optional<ClientError> end;  // why it ended early
};

// Listens until the time is over, the session ends or the listener fails.
Outcome<Heard> listen(SoundReceiver& receiver, Listener& listener, Deadline firstSound, double seconds,
                      Output& output) {
  Heard heard;
  for (;;) {
    const auto length = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    const auto end = heard.packets == 0 ? firstSound : seconds > 0 ? heard.begin + length : Deadline::max();
    if (Clock::now() >= end) return heard;
    auto event = receiver.next(std::min(end, within(std::chrono::milliseconds(500))));
    if (!event) {
      heard.end = event.error();
      return heard;
    }
    if (heard.packets > 0)
      output.progress(fmt::format("listening, {:.0f} s",
                                  std::chrono::duration<double>(Clock::now() - heard.begin).count()));
    if (!*event) continue;
    Outcome<void> taken;
    if (const auto* config = std::get_if<AudioConfig>(&**event)) {
      taken = listener.configured(*config);
    } else {
      if (heard.packets++ == 0) heard.begin = Clock::now();
      taken = listener.heard(std::move(std::get<SoundPacket>(**event)));
    }
    if (!taken) {
      heard.end = taken.error();
      return heard;
    }
  }
}

Outcome<void> runListen(const Arguments& arguments, CommandContext& context) {
  const auto seconds = arguments.number("--seconds", 0, 0.1, 86400);
  if (!seconds) return std::unexpected(seconds.error());
  const auto path = arguments.text("--output");
  if (path && !SoundFile::canBe(*path))
    return failed(ExitCode::usage, fmt::format("'{}' does not end in .wav or .m4a", *path),
                  "The name decides the format of the file.");
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto& words = arguments.positional();
  auto session = openSession(arguments, context, words.empty() ? std::string() : words[0]);
  if (!session) return std::unexpected(session.error());
  context.waiter.activity = "waiting for sound";
  SoundReceiver receiver(**session);
  if (auto subscribed = receiver.subscribe(); !subscribed) return subscribed;
  std::unique_ptr<Listener> listener;
  if (path)
    listener = std::make_unique<SavingListener>(*path);
  else
    listener = std::make_unique<PlayingListener>();
  const auto heard = listen(receiver, *listener, *deadline, *seconds, context.output);
  if (!heard) return std::unexpected(heard.error());
  if (heard->packets == 0 && heard->end) return std::unexpected(*heard->end);
  if (heard->packets == 0)
    return failed(ExitCode::timedOut, "no sound came in time",
                  "The host may have no sound server; with a longer --timeout it may come later.");
  if (auto finished = listener->finish(); !finished) return finished;
  if (path)
    context.output.note(fmt::format("{}: {:.1f} s", *path,
                                    std::chrono::duration<double>(Clock::now() - heard->begin).count()));
  if (!heard->end || heard->end->code == ExitCode::interrupted) {
    if (receiver.unsubscribe()) closeSession(**session);
    return {};
  }
  return std::unexpected(*heard->end);
}

}  // namespace

std::vector<Command> soundCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "listen",
       .arguments = "[HOST]",
       .summary = "play or save what a host plays",
       .details =
           "Plays the host's sound on this machine's default output, or saves it: decoded in a .wav\n"
           "file, as received in a .m4a file. Pauses of the host are saved as silence. Ctrl-C ends it\n"
           "and leaves a complete file.\n",
       .options = {{"--output", "FILE", "save to a file; the name ends in .wav or .m4a"},
                   {"--seconds", "N", "how long (default: until Ctrl-C)"}},
       .maximumPositional = 1,
       .examples = {"listen", "listen desk.local --output talk.m4a --seconds 600"},
       .run = runListen});
  return commands;
}

}  // namespace quorl::client
