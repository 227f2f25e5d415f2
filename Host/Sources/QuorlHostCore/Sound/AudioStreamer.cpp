// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Sound/AudioStreamer.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Sound/AudioSpecificConfig.h>

namespace quorl {

namespace {

constexpr std::uint64_t packetRate = 48'000;      // frames a second
constexpr std::uint64_t framesPerPacket = 1'024;  // ISO/IEC 14496-3

}  // namespace

AudioStreamer::AudioStreamer(Scheduler& scheduler, std::shared_ptr<ScreenCapture> screen,
                             std::shared_ptr<SoundCapture> sound,
                             std::shared_ptr<SoundCompressorFactory> compressors)
    : queue_(scheduler, "quorl.audio", QueueRank::service),
      screen_(std::move(screen)),
      sound_(std::move(sound)),
      compressors_(std::move(compressors)) {}

// A stream ends on the queue. The host's end may drop the last reference elsewhere, with subscribers left.
AudioStreamer::~AudioStreamer() {
  if (queue_.isCurrent())
    stream_.reset();
  else
    queue_.sync([this] {
      queue_.assertCurrent();
      stream_.reset();
    });
}

template <class Step>
void AudioStreamer::onQueue(Step step) const {
  queue_.async([weak = weak_from_this(), step = std::move(step)]() mutable {
    if (const auto self = std::const_pointer_cast<AudioStreamer>(weak.lock())) step(*self);
  });
}

void AudioStreamer::subscribe(std::shared_ptr<StreamOutputSink> sink) {
  onQueue([sink = std::move(sink)](AudioStreamer& self) {
    self.queue_.assertCurrent();
    auto& entry = self.subscribers_[sink.get()];
    // An earlier sink may have had the address.
    if (entry.expired()) self.configSent_.erase(sink.get());
    entry = sink;
    sink->sendControl(message::AudioControl{.enabled = true});
    self.startIfNeeded();
  });
}

// The identity is taken, not the sink: a connection that has closed must not live on until then.
void AudioStreamer::unsubscribe(const std::shared_ptr<StreamOutputSink>& sink, Acknowledge acknowledge) {
  onQueue([id = sink.get(), weak = std::weak_ptr(sink), acknowledge](AudioStreamer& self) {
    self.queue_.assertCurrent();
    const bool wasSubscribed = self.subscribers_.erase(id) > 0;
    if (const auto alive = weak.lock(); alive && wasSubscribed && acknowledge == Acknowledge::yes)
      alive->sendControl(message::AudioControl{.enabled = false});
    self.configSent_.erase(id);
    self.stopIfIdle();
  });
}

void AudioStreamer::startIfNeeded() {
  queue_.assertCurrent();
  if (stream_ || starting_ || subscribers_.empty()) return;
  starting_ = true;
  screen_->shareableContent([weak = weak_from_this()](std::expected<ShareableContent, PortError> content) {
    const auto self = weak.lock();
    if (!self) return;
    self->onQueue(
        [content = std::move(content)](AudioStreamer& streamer) { streamer.handleContent(content); });
  });
}

// Sound needs a display to belong to, as pictures do.
void AudioStreamer::handleContent(const std::expected<ShareableContent, PortError>& content) {
  queue_.assertCurrent();
  starting_ = false;
  if (stream_ || subscribers_.empty()) return;
  if (content && !content->displays.empty()) return startCapture();
  Log::audio.error(fmt::format("audio capture unavailable: {}",
                               content ? std::string("no display") : content.error().description));
}

void AudioStreamer::startCapture() {
  queue_.assertCurrent();
  auto stream = sound_->makeStream(PCMFormat{}, queue_,
                                   {.captured = [weak = weak_from_this()](const PCMBuffer& buffer) {
                                     if (const auto self = weak.lock()) self->handleBuffer(buffer);
                                   }});
  if (!stream) {
    Log::audio.error(fmt::format("audio output attach failed: {}", stream.error().description));
    return;
  }
  stream_ = std::move(*stream);
  stream_->start([weak = weak_from_this(), capture = ++captures_](std::optional<PortError> error) {
    const auto self = weak.lock();
    if (!self) return;
    self->onQueue([capture, error = std::move(error)](AudioStreamer& streamer) {
      streamer.handleStarted(capture, error);
    });
  });
}

void AudioStreamer::handleStarted(std::uint64_t capture, const std::optional<PortError>& error) {
  queue_.assertCurrent();
  if (!error) {
    Log::audio.info("audio capture started");
    return;
  }
  Log::audio.error(fmt::format("audio start failed: {}", error->description));
  if (capture == captures_) stream_.reset();
}

void AudioStreamer::handleBuffer(const PCMBuffer& buffer) {
  queue_.assertCurrent();
  if (!stream_ || subscribers_.empty() || buffer.samples.empty()) return;
  if (!ensureCompressor(buffer.format)) return;
  const auto sound = compressor_->compress(buffer.samples);
  if (!sound) {
    Log::audio.error(fmt::format("AAC convert error: {}", sound.error().description));
    return;
  }
  sendPackets(*sound);
}

bool AudioStreamer::ensureCompressor(const PCMFormat& format) {
  queue_.assertCurrent();
  if (compressor_ && inputFormat_ == format) return true;
  auto compressor = compressors_->make(format, SoundCompression{});
  if (!compressor) {
    Log::audio.error("AAC converter unavailable");
    return false;
  }
  compressor_ = std::move(*compressor);
  inputFormat_ = format;
  framesSent_ = 0;
  audioConfig_.reset();
  configSent_.clear();
  return true;
}

void AudioStreamer::sendPackets(const CompressedSound& sound) {
  queue_.assertCurrent();
  const ByteView data(sound.data);
  if (sound.packets.empty() && sound.packetCount == 1) return broadcast(data);
  if (sound.packets.empty() && sound.packetCount > 1) {
    Log::audio.error(fmt::format("dropping {} AAC frames lacking packet descriptions", sound.packetCount));
    return;
  }
  for (const auto& packet : sound.packets) broadcast(data.subspan(packet.offset, packet.size));
}

void AudioStreamer::broadcast(ByteView packet) {
  queue_.assertCurrent();
  const std::uint64_t ptsMicros = framesSent_ * 1'000'000 / packetRate;
  framesSent_ += framesPerPacket;
  if (!audioConfig_) makeConfig();
  const auto frame = OutgoingFrame::audio(
      {.ptsMicros = ptsMicros, .data = std::make_shared<const Bytes>(packet.begin(), packet.end())});
  for (const auto& [id, weak] : subscribers_) {
    const auto sink = weak.lock();
    if (!sink) continue;
    if (configSent_.insert(id).second) sink->sendControl(message::AudioConfig{*audioConfig_});
    sink->sendFrame(frame, Droppable::yes);
  }
}

void AudioStreamer::makeConfig() {
  queue_.assertCurrent();
  const double rate = compressor_->sampleRate() > 0 ? compressor_->sampleRate() : double{packetRate};
  const int channels = compressor_->channels() != 0 ? compressor_->channels() : 2;
  Bytes cookie = compressor_->decoderConfiguration();
  if (cookie.empty()) cookie = audioSpecificConfig(rate, channels);
  audioConfig_ = AudioConfig{.sampleRate = rate, .channels = channels, .magicCookie = std::move(cookie)};
}

void AudioStreamer::stopIfIdle() {
  queue_.assertCurrent();
  std::erase_if(subscribers_, [this](const auto& entry) {
    queue_.assertCurrent();
    if (!entry.second.expired()) return false;
    configSent_.erase(entry.first);
    return true;
  });
  if (!subscribers_.empty() || !stream_) return;
  const auto stream = std::move(stream_);
  compressor_.reset();
  audioConfig_.reset();
  configSent_.clear();
  framesSent_ = 0;
  stream->stop();
  Log::audio.info("audio capture stopped");
}

}  // namespace quorl
