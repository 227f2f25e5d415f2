// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/PulseOutput.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include <pulse/pulseaudio.h>

namespace quorl::viewer {
namespace {

using client::Clock;
using client::ExitCode;
using std::chrono::milliseconds;

constexpr milliseconds firstRetry{250};
constexpr milliseconds longestRetry{4'000};
constexpr milliseconds serverBuffer{20};

// Operations are cancelled with their context or stream; nothing else needs them.
void forget(pa_operation* operation) {
  if (operation != nullptr) pa_operation_unref(operation);
}

}  // namespace

class PulseOutput::Lock {
 public:
  explicit Lock(pa_threaded_mainloop* loop) : loop_(loop) {
    if (loop_ != nullptr) pa_threaded_mainloop_lock(loop_);
  }
  ~Lock() {
    if (loop_ != nullptr) pa_threaded_mainloop_unlock(loop_);
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  pa_threaded_mainloop* loop_;
};

PulseOutput::PulseOutput() : loop_(pa_threaded_mainloop_new()), retryDelay_(firstRetry) {
  if (loop_ == nullptr) return;
  pa_threaded_mainloop_set_name(loop_, "quorl-sound");
  pa_threaded_mainloop_start(loop_);
}

PulseOutput::~PulseOutput() {
  close();
  if (loop_ == nullptr) return;
  pa_threaded_mainloop_stop(loop_);
  pa_threaded_mainloop_free(loop_);
}

void PulseOutput::open(SoundFormat format, Handlers handlers) {
  const Lock lock(loop_);
  dropStream();
  format_ = format;
  handlers_ = std::move(handlers);
  isReported_ = false;
  retryDelay_ = firstRetry;
  if (loop_ == nullptr) return fail("out of memory", nullptr);
  if (context_ != nullptr && pa_context_get_state(context_) == PA_CONTEXT_READY) return play();
  connect();
}

void PulseOutput::close() {
  const Lock lock(loop_);
  handlers_ = {};
  cancelRetry();
  dropContext();
}

void PulseOutput::wake() {
  if (!isPaused_.exchange(false)) return;
  const Lock lock(loop_);
  if (stream_ != nullptr && pa_stream_get_state(stream_) == PA_STREAM_READY)
    forget(pa_stream_cork(stream_, 0, nullptr, nullptr));
}

void PulseOutput::connect() {
  cancelRetry();
  dropContext();
  context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Quorl Viewer");
  if (context_ == nullptr) return fail("out of memory", &PulseOutput::connect);
  pa_context_set_state_callback(
      context_, [](pa_context*, void* userdata) { self(userdata).contextChanged(); }, this);
  if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
    fail(pa_strerror(pa_context_errno(context_)), &PulseOutput::connect);
}

void PulseOutput::contextChanged() {
  switch (pa_context_get_state(context_)) {
    case PA_CONTEXT_READY:
      return play();
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
      return fail(pa_strerror(pa_context_errno(context_)), &PulseOutput::connect);
    case PA_CONTEXT_UNCONNECTED:
    case PA_CONTEXT_CONNECTING:
    case PA_CONTEXT_AUTHORIZING:
    case PA_CONTEXT_SETTING_NAME:
      return;
  }
}

void PulseOutput::play() {
  cancelRetry();
  dropStream();
  const pa_sample_spec specification{.format = PA_SAMPLE_S16NE,
                                     .rate = static_cast<std::uint32_t>(format_.rate),
                                     .channels = static_cast<std::uint8_t>(format_.channels)};
  stream_ = pa_stream_new(context_, "sound of the host", &specification, nullptr);
  if (stream_ == nullptr) return fail(pa_strerror(pa_context_errno(context_)), &PulseOutput::play);
  pa_stream_set_state_callback(
      stream_, [](pa_stream*, void* userdata) { self(userdata).streamChanged(); }, this);
  pa_stream_set_write_callback(
      stream_, [](pa_stream*, std::size_t byteCount, void* userdata) { self(userdata).write(byteCount); },
      this);
  constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
  const auto usec = static_cast<pa_usec_t>(std::chrono::microseconds(serverBuffer).count());
  // Without a prebuffer the server never waits: what is missing is silence of ours.
  const pa_buffer_attr sizes{.maxlength = serversChoice,
                             .tlength = static_cast<std::uint32_t>(pa_usec_to_bytes(usec, &specification)),
                             .prebuf = 0,
                             .minreq = serversChoice,
                             .fragsize = serversChoice};
  const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                                    PA_STREAM_AUTO_TIMING_UPDATE);
  if (pa_stream_connect_playback(stream_, nullptr, &sizes, flags, nullptr, nullptr) < 0)
    fail(pa_strerror(pa_context_errno(context_)), &PulseOutput::play);
}

void PulseOutput::streamChanged() {
  switch (pa_stream_get_state(stream_)) {
    case PA_STREAM_READY:
      retryDelay_ = firstRetry;
      isReported_ = false;
      if (handlers_.playing) handlers_.playing();
      return;
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
      // If the context has failed too, its own callback connects again.
      if (pa_context_get_state(context_) == PA_CONTEXT_READY)
        fail(pa_strerror(pa_context_errno(context_)), &PulseOutput::play);
      return;
    case PA_STREAM_UNCONNECTED:
    case PA_STREAM_CREATING:
      return;
  }
}

void PulseOutput::write(std::size_t byteCount) {
  void* data = nullptr;
  if (!handlers_.source || pa_stream_begin_write(stream_, &data, &byteCount) < 0 || data == nullptr) return;
  const auto* specification = pa_stream_get_sample_spec(stream_);
  byteCount -= byteCount % pa_frame_size(specification);
  pa_usec_t latency = 0;
  int isNegative = 0;
  // Unknown until the server's first report.
  const bool isKnown = pa_stream_get_latency(stream_, &latency, &isNegative) == 0;
  const Clock::duration delay =
      isKnown ? std::chrono::microseconds(isNegative != 0 ? 0 : latency) : Clock::duration(serverBuffer);
  const auto filled =
      handlers_.source({static_cast<std::int16_t*>(data), byteCount / sizeof(std::int16_t)}, delay);
  if (filled.samples > 0)
    pa_stream_write(stream_, data, filled.samples * sizeof(std::int16_t), nullptr, 0, PA_SEEK_RELATIVE);
  else
    pa_stream_cancel_write(stream_);
  if (filled.next == Next::pause && !isPaused_.exchange(true))
    forget(pa_stream_cork(stream_, 1, nullptr, nullptr));
}

void PulseOutput::dropStream() {
  isPaused_ = false;
  if (stream_ == nullptr) return;
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_set_write_callback(stream_, nullptr, nullptr);
  pa_stream_disconnect(stream_);
  pa_stream_unref(std::exchange(stream_, nullptr));
}

void PulseOutput::dropContext() {
  dropStream();
  if (context_ == nullptr) return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(std::exchange(context_, nullptr));
}

void PulseOutput::fail(const std::string& reason, Retry retry) {
  if (!std::exchange(isReported_, true) && handlers_.failed)
    handlers_.failed({ExitCode::failure, "this machine cannot play sound: " + reason,
                      "Start a sound server; the sound begins by itself then."});
  if (retry != nullptr) retryLater(retry);
}

void PulseOutput::retryLater(Retry retry) {
  cancelRetry();
  retry_ = retry;
  timeval when{};
  pa_gettimeofday(&when);
  pa_timeval_add(&when, static_cast<pa_usec_t>(std::chrono::microseconds(retryDelay_).count()));
  retryDelay_ = std::min(retryDelay_ * 2, longestRetry);
  auto* api = pa_threaded_mainloop_get_api(loop_);
  timer_ = api->time_new(
      api, &when,
      [](pa_mainloop_api*, pa_time_event*, const timeval*, void* userdata) {
        auto& output = self(userdata);
        (output.*output.retry_)();
      },
      this);
}

void PulseOutput::cancelRetry() {
  if (timer_ == nullptr) return;
  pa_threaded_mainloop_get_api(loop_)->time_free(std::exchange(timer_, nullptr));
}

}  // namespace quorl::viewer
