// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundDecoder.h>

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quorl::client {

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

void SoundDecoder::FrameCloser::operator()(AVFrame* frame) const {
  av_frame_free(&frame);
}

SoundDecoder::SoundDecoder() : frame_(av_frame_alloc()) {}
SoundDecoder::~SoundDecoder() = default;

Outcome<void> SoundDecoder::configure(const AudioConfig& config) {
  decoder_.reset();
  const auto& cookie = config.magicCookie;
  if (cookie.empty() || cookie.size() > longestCookie)
    return failed(ExitCode::failure, "the host's sound configuration cannot be read");
  auto opened = PacketDecoder::open(avcodec_find_decoder(AV_CODEC_ID_AAC), cookie, nullptr,
                                    {.missing = "this machine's media library has no decoder for sound",
                                     .missingAdvice = "Install libavcodec with AAC.",
                                     .refused = "the decoder refuses the host's sound configuration"});
  if (!opened) return std::unexpected(opened.error());
  decoder_ = std::move(*opened);
  return {};
}

DecodedSound SoundDecoder::decode(ByteView packet) {
  DecodedSound sound;
  if (!decoder_ || !decoder_->send(packet)) ++failedPackets_;
  while (decoder_ && frame_ && decoder_->receive(*frame_)) append(sound, *frame_);
  return sound;
}

}  // namespace quorl::client
