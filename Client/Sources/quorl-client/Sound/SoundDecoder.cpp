// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundDecoder.h>

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quorl::client {

struct SoundDecoder::Context {
  AVCodecContext* codec = nullptr;
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();

  Context() = default;
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    avcodec_free_context(&codec);
    av_packet_free(&packet);
    av_frame_free(&frame);
  }
};

namespace {

constexpr std::size_t longestCookie = 65'536;

std::int16_t sample16(float sample) {
  if (std::isnan(sample)) return 0;
  return static_cast<std::int16_t>(std::lround(std::clamp(sample, -1.0F, 1.0F) * 32'767));
}

void append(DecodedSound& sound, const AVFrame& frame) {
  const auto channels = static_cast<std::size_t>(frame.ch_layout.nb_channels);
  sound.sampleRate = frame.sample_rate;
  sound.channels = frame.ch_layout.nb_channels;
  if (frame.format != AV_SAMPLE_FMT_FLTP) return;
  for (int index = 0; index < frame.nb_samples; ++index)
    for (std::size_t channel = 0; channel < channels; ++channel)
      sound.samples.push_back(sample16(reinterpret_cast<const float*>(frame.extended_data[channel])[index]));
}

}  // namespace

SoundDecoder::SoundDecoder() = default;
SoundDecoder::~SoundDecoder() = default;

Outcome<void> SoundDecoder::configure(const AudioConfig& config) {
  context_.reset();
  const auto& cookie = config.magicCookie;
  const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_AAC);
  auto context = std::make_unique<Context>();
  if (decoder == nullptr || (context->codec = avcodec_alloc_context3(decoder)) == nullptr)
    return failed(ExitCode::failure, "this machine's media library has no decoder for sound",
                  "Install libavcodec with AAC.");
  if (cookie.empty() || cookie.size() > longestCookie)
    return failed(ExitCode::failure, "the host's sound configuration cannot be read");
  auto* const settings = context->codec;
  settings->extradata = static_cast<std::uint8_t*>(av_mallocz(cookie.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (settings->extradata == nullptr) return failed(ExitCode::failure, "out of memory");
  std::memcpy(settings->extradata, cookie.data(), cookie.size());
  settings->extradata_size = static_cast<int>(cookie.size());
  if (avcodec_open2(settings, decoder, nullptr) < 0)
    return failed(ExitCode::failure, "the decoder refuses the host's sound configuration");
  context_ = std::move(context);
  return {};
}

DecodedSound SoundDecoder::decode(ByteView packet) {
  DecodedSound sound;
  if (!context_ || packet.empty() || av_new_packet(context_->packet, static_cast<int>(packet.size())) < 0) {
    ++failedPackets_;
    return sound;
  }
  std::memcpy(context_->packet->data, packet.data(), packet.size());
  const int status = avcodec_send_packet(context_->codec, context_->packet);
  av_packet_unref(context_->packet);
  if (status < 0) ++failedPackets_;
  while (avcodec_receive_frame(context_->codec, context_->frame) == 0) append(sound, *context_->frame);
  return sound;
}

}  // namespace quorl::client
