// SPDX-License-Identifier: GPL-3.0-or-later
#include "Clicker.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace quorl::bench {

namespace {

constexpr int rate = 48'000;
constexpr int framesPerBlock = rate / 200;
constexpr int blocksPerClick = 6;
constexpr double frequency = 1'000;
constexpr double loudness = 20'000;

// `number`: of the block in the click; silence after its last.
std::vector<std::int16_t> block(int number) {
  std::vector<std::int16_t> samples(2 * framesPerBlock);
  if (number >= blocksPerClick) return samples;
  for (int frame = 0; frame < framesPerBlock; ++frame) {
    // Begins at its greatest value: a sharp onset.
    const double angle = 2 * std::numbers::pi * frequency * (number * framesPerBlock + frame) / rate;
    const auto sample = static_cast<std::int16_t>(loudness * std::cos(angle));
    samples[static_cast<std::size_t>(2 * frame)] = samples[static_cast<std::size_t>(2 * frame + 1)] = sample;
  }
  return samples;
}

}  // namespace

Clicker::Clicker(const std::string& server) {
  constexpr pa_sample_spec format{.format = PA_SAMPLE_S16NE, .rate = rate, .channels = 2};
  constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
  constexpr pa_buffer_attr sizes{.maxlength = serversChoice,
                                 .tlength = rate * 4 / 50,  // 20 ms
                                 .prebuf = serversChoice,
                                 .minreq = serversChoice,
                                 .fragsize = serversChoice};
  int error = 0;
  stream_ = pa_simple_new(server.c_str(), "clicker", PA_STREAM_PLAYBACK, nullptr, "clicks", &format, nullptr,
                          &sizes, &error);
  if (stream_ == nullptr) throw std::runtime_error(std::string("cannot play: ") + pa_strerror(error));
  thread_ = std::jthread([this](const std::stop_token& stop) { play(stop); });
}

Clicker::~Clicker() {
  thread_.request_stop();
  thread_.join();
  pa_simple_free(stream_);
}

void Clicker::play(const std::stop_token& stop) {
  int number = blocksPerClick;
  int error = 0;
  while (!stop.stop_requested()) {
    if (isWanted_.exchange(false)) number = 0;
    const auto samples = block(number);
    number = std::min(number + 1, blocksPerClick);
    if (pa_simple_write(stream_, samples.data(), samples.size() * sizeof samples[0], &error) < 0) return;
  }
}

}  // namespace quorl::bench
