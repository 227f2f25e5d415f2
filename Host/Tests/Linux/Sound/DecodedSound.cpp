// SPDX-License-Identifier: GPL-3.0-or-later
#include "DecodedSound.h"

#include <algorithm>
#include <cmath>
#include <span>

#include <QuorlKit/Foundation/Check.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quorl::test {

namespace {

std::span<const float> middleHalf(const std::vector<float>& samples) {
  return std::span(samples).subspan(samples.size() / 4, samples.size() / 2);
}

}  // namespace

DecodedSound decodeAAC(const Bytes& configuration, const std::vector<Bytes>& packets) {
  AVCodecContext* decoder = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_AAC));
  decoder->extradata =
      static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  std::ranges::copy(configuration, decoder->extradata);
  decoder->extradata_size = static_cast<int>(configuration.size());
  QUORL_CHECK(avcodec_open2(decoder, nullptr, nullptr) == 0, "the decoder opens");
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  DecodedSound sound;
  for (const Bytes& bytes : packets) {
    QUORL_CHECK(av_new_packet(packet, static_cast<int>(bytes.size())) == 0, "memory");
    std::ranges::copy(bytes, packet->data);
    QUORL_CHECK(avcodec_send_packet(decoder, packet) == 0, "the packet can be decoded");
    av_packet_unref(packet);
    while (avcodec_receive_frame(decoder, frame) == 0) {
      QUORL_CHECK(frame->format == AV_SAMPLE_FMT_FLTP, "one plane of floats per channel");
      sound.sampleRate = frame->sample_rate;
      sound.channels.resize(static_cast<std::size_t>(frame->ch_layout.nb_channels));
      for (std::size_t channel = 0; channel < sound.channels.size(); ++channel) {
        const auto* const plane = reinterpret_cast<const float*>(frame->extended_data[channel]);
        sound.channels[channel].insert(sound.channels[channel].end(), plane, plane + frame->nb_samples);
      }
    }
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&decoder);
  return sound;
}

double pitchOf(const std::vector<float>& samples, int sampleRate) {
  const auto middle = middleHalf(samples);
  double first = -1;
  double last = -1;
  int periods = -1;
  for (std::size_t at = 1; at < middle.size(); ++at) {
    if (!(middle[at - 1] < 0 && middle[at] >= 0)) continue;
    last = static_cast<double>(at) - middle[at] / (middle[at] - middle[at - 1]);
    if (++periods == 0) first = last;
  }
  return periods > 0 ? periods * sampleRate / (last - first) : 0;
}

float peakOf(const std::vector<float>& samples) {
  float peak = 0;
  for (const float sample : middleHalf(samples)) peak = std::max(peak, std::abs(sample));
  return peak;
}

}  // namespace quorl::test
