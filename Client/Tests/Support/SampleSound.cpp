// SPDX-License-Identifier: GPL-3.0-or-later
#include "SampleSound.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <QuorlKit/Foundation/Check.h>
#include <Support/TemporaryFolder.h>
#include <fmt/format.h>

#include "SampleVideo.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace quorl::client::test {

SampleSound SampleSound::tone(int frequency, double seconds) {
  const quorl::test::TemporaryFolder folder;
  const auto file = folder.file("tone.m4a");
  outputOfTool(
      fmt::format("ffmpeg -v error -nostdin -f lavfi -i 'sine=frequency={}:sample_rate=48000:duration={}' "
                  "-ac 2 -af volume=4 -c:a aac -b:a 160k '{}'",
                  frequency, seconds, file));
  AVFormatContext* format = nullptr;
  QUORL_CHECK(avformat_open_input(&format, file.c_str(), nullptr, nullptr) == 0, "the sample can be read");
  const auto* const parameters = format->streams[0]->codecpar;
  SampleSound sample;
  sample.config = {
      .sampleRate = 48'000,
      .channels = 2,
      .magicCookie = Bytes(parameters->extradata, parameters->extradata + parameters->extradata_size)};
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) == 0) {
    sample.packets.emplace_back(packet->data, packet->data + packet->size);
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  return sample;
}

double PlayedSound::pitch(double begin, double end) const {
  const auto first = static_cast<std::size_t>(begin * 48'000);
  const auto last = std::min(samples.size(), static_cast<std::size_t>(end * 48'000));
  std::size_t count = 0;
  std::size_t firstCrossing = 0;
  std::size_t lastCrossing = 0;
  for (std::size_t at = first + 1; at < last; ++at) {
    if (!(samples[at - 1] < 0 && samples[at] >= 0)) continue;
    if (count++ == 0) firstCrossing = at;
    lastCrossing = at;
  }
  if (count < 2) return 0;
  return static_cast<double>(count - 1) * 48'000 / static_cast<double>(lastCrossing - firstCrossing);
}

double PlayedSound::longestSilence() const {
  std::size_t longest = 0;
  std::size_t run = 0;
  for (const float sample : samples) {
    run = std::abs(sample) < 0.01F ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  return static_cast<double>(longest) / 48'000;
}

PlayedSound playedByTool(const std::string& path) {
  const auto bytes =
      outputOfTool(fmt::format("ffmpeg -v error -nostdin -i '{}' -map 0:a -af "
                               "'aresample=async=1:first_pts=0,pan=mono|c0=c0' -ar 48000 "
                               "-f f32le -",
                               path));
  PlayedSound sound;
  sound.samples.resize(bytes.size() / sizeof(float));
  std::memcpy(sound.samples.data(), bytes.data(), sound.samples.size() * sizeof(float));
  return sound;
}

}  // namespace quorl::client::test
