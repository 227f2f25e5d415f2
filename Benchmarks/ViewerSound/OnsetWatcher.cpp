// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnsetWatcher.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;

constexpr int rate = 48'000;
constexpr std::size_t framesPerPiece = rate / 200;
constexpr int audible = 4'000;  // a fifth of a click; above what a codec adds before it
constexpr std::uint64_t silence = rate / 10;
constexpr auto memory = 2s;

Clock::duration timeOf(std::uint64_t frames) {
  return std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(static_cast<double>(frames) / rate));
}

}  // namespace

OnsetWatcher::OnsetWatcher(const std::string& server, const char* device) {
  constexpr pa_sample_spec format{.format = PA_SAMPLE_S16NE, .rate = rate, .channels = 1};
  constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
  constexpr pa_buffer_attr sizes{.maxlength = serversChoice,
                                 .tlength = serversChoice,
                                 .prebuf = serversChoice,
                                 .minreq = serversChoice,
                                 .fragsize = framesPerPiece * sizeof(std::int16_t)};
  int error = 0;
  stream_ = pa_simple_new(server.c_str(), "onset watcher", PA_STREAM_RECORD, device, "watch", &format,
                          nullptr, &sizes, &error);
  if (stream_ == nullptr) throw std::runtime_error(std::string("cannot record: ") + pa_strerror(error));
  thread_ = std::jthread([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) run();
  });
}

OnsetWatcher::~OnsetWatcher() {
  thread_.request_stop();
  thread_.join();
  pa_simple_free(stream_);
}

void OnsetWatcher::arm() {
  const std::lock_guard lock(mutex_);
  onset_.reset();
}

std::optional<Clock::time_point> OnsetWatcher::wait(std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, deadline, [this] { return onset_.has_value(); });
  return onset_;
}

void OnsetWatcher::run() {
  std::array<std::int16_t, framesPerPiece> samples{};
  int error = 0;
  if (pa_simple_read(stream_, samples.data(), sizeof samples, &error) < 0) {
    thread_.request_stop();
    return;
  }
  const auto now = Clock::now();
  pieces_.push_back({now, now - timeOf(frames_ + samples.size())});
  while (pieces_.front().arrival < now - memory) pieces_.pop_front();
  take(samples.data(), samples.size());
}

void OnsetWatcher::take(const std::int16_t* samples, std::size_t count) {
  for (std::size_t at = 0; at < count; ++at, ++frames_) {
    if (std::abs(samples[at]) < audible) {
      ++silent_;
      continue;
    }
    if (silent_ >= silence) {
      const std::lock_guard lock(mutex_);
      if (!onset_) onset_ = zero() + timeOf(frames_);
      changed_.notify_all();
    }
    silent_ = 0;
  }
}

Clock::time_point OnsetWatcher::zero() const {
  return std::ranges::min(pieces_, {}, &Piece::zero).zero;
}

}  // namespace quorl::bench
