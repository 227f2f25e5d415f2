// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/MonitorRecorder.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace quorl {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds firstRetry{250};
constexpr milliseconds longestRetry{2'000};
// A server that is silent for this long is asked for a sign of life, and given up after as long again.
constexpr milliseconds silence{3'000};
// Half a packet of AAC: 10.7 ms. A packet waits no longer than this for its last samples.
constexpr std::uint32_t framesPerFragment = 512;
constexpr std::size_t longestHole = 48'000;  // bytes given as zeros at a time

pa_sample_spec specificationOf(const PCMFormat& format) {
  return {.format = format.samples == SampleType::int16 ? PA_SAMPLE_S16NE : PA_SAMPLE_FLOAT32NE,
          .rate = static_cast<std::uint32_t>(format.sampleRate),
          .channels = static_cast<std::uint8_t>(format.channels)};
}

// The library's operations are cancelled with their context; nothing else needs them.
void forget(pa_operation* operation) {
  if (operation) pa_operation_unref(operation);
}

}  // namespace

MonitorRecorder::MonitorRecorder(PulseLoop& loop, const PCMFormat& format, Handlers handlers)
    : loop_(loop),
      specification_(specificationOf(format)),
      handlers_(std::move(handlers)),
      retryDelay_(firstRetry) {
  connect();
}

// The connection

void MonitorRecorder::connect() {
  stream_.reset();
  monitor_.clear();
  context_.reset();
  context_.reset(loop_.api() ? pa_context_new(loop_.api(), "Quorl Host") : nullptr);
  if (!context_) return failed("out of memory");
  heard_ = true;
  awaitsAnswer_ = false;
  pa_context_set_state_callback(
      context_.get(), [](pa_context*, void* userdata) { self(userdata).contextChanged(); }, this);
  if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
    return failed(pa_strerror(pa_context_errno(context_.get())));
  checkLater();
}

void MonitorRecorder::failed(std::string why) {
  check_ = {};
  retry_ = loop_.after(nextDelay(), [this] { connect(); });
  handlers_.failed(std::move(why));
}

milliseconds MonitorRecorder::nextDelay() {
  return std::exchange(retryDelay_, std::min(retryDelay_ * 2, longestRetry));
}

void MonitorRecorder::contextChanged() {
  switch (pa_context_get_state(context_.get())) {
    case PA_CONTEXT_READY: {
      heard_ = true;
      pa_context_set_subscribe_callback(
          context_.get(),
          [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* userdata) {
            self(userdata).findOutput();
          },
          this);
      const auto events =
          static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK);
      forget(pa_context_subscribe(context_.get(), events, nullptr, nullptr));
      return findOutput();
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
      return failed(pa_strerror(pa_context_errno(context_.get())));
    case PA_CONTEXT_UNCONNECTED:
    case PA_CONTEXT_CONNECTING:
    case PA_CONTEXT_AUTHORIZING:
    case PA_CONTEXT_SETTING_NAME:
      heard_ = true;
      return;
  }
}

// The output

void MonitorRecorder::findOutput() {
  forget(pa_context_get_server_info(
      context_.get(),
      [](pa_context*, const pa_server_info* info, void* userdata) {
        MonitorRecorder& recorder = self(userdata);
        recorder.heard_ = true;
        recorder.awaitsAnswer_ = false;
        if (info && info->default_sink_name && *info->default_sink_name)
          recorder.findMonitor(info->default_sink_name);
      },
      this));
}

void MonitorRecorder::findMonitor(const std::string& output) {
  forget(pa_context_get_sink_info_by_name(
      context_.get(), output.c_str(),
      [](pa_context*, const pa_sink_info* info, int, void* userdata) {
        if (info && info->monitor_source_name) self(userdata).record(info->monitor_source_name);
      },
      this));
}

void MonitorRecorder::record(const std::string& monitor) {
  if (monitor == monitor_) return;
  stream_.reset(pa_stream_new(context_.get(), "sound of the session", &specification_, nullptr));
  if (!stream_) return recordingFailed();
  monitor_ = monitor;
  pa_stream_set_state_callback(
      stream_.get(), [](pa_stream*, void* userdata) { self(userdata).streamChanged(); }, this);
  pa_stream_set_read_callback(
      stream_.get(), [](pa_stream*, std::size_t, void* userdata) { self(userdata).read(); }, this);
  constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
  const auto frameSize = static_cast<std::uint32_t>(pa_frame_size(&specification_));
  const pa_buffer_attr sizes{.maxlength = serversChoice,
                             .tlength = serversChoice,
                             .prebuf = serversChoice,
                             .minreq = serversChoice,
                             .fragsize = framesPerFragment * frameSize};
  const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
  if (pa_stream_connect_record(stream_.get(), monitor.c_str(), &sizes, flags) < 0) recordingFailed();
}

// The output may have ended; then an event says what follows it, often before this attempt.
void MonitorRecorder::recordingFailed() {
  monitor_.clear();
  if (pa_context_get_state(context_.get()) != PA_CONTEXT_READY) return;  // then it ended with its context
  retry_ = loop_.after(nextDelay(), [this] { findOutput(); });
  handlers_.failed(pa_strerror(pa_context_errno(context_.get())));
}

void MonitorRecorder::streamChanged() {
  switch (pa_stream_get_state(stream_.get())) {
    case PA_STREAM_READY:
      retryDelay_ = firstRetry;
      return handlers_.recording();
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
      return recordingFailed();
    case PA_STREAM_UNCONNECTED:
    case PA_STREAM_CREATING:
      return;
  }
}

// The samples

void MonitorRecorder::read() {
  heard_ = true;
  const void* data = nullptr;
  std::size_t byteCount = 0;
  while (pa_stream_readable_size(stream_.get()) > 0) {
    if (pa_stream_peek(stream_.get(), &data, &byteCount) < 0 || byteCount == 0) return;
    if (data)
      handlers_.captured(ByteView(static_cast<const std::uint8_t*>(data), byteCount));
    else
      readHole(byteCount);
    pa_stream_drop(stream_.get());
  }
}

void MonitorRecorder::readHole(std::size_t byteCount) {
  const Bytes zeros(std::min(byteCount, longestHole));
  for (std::size_t size = 0; byteCount > 0; byteCount -= size) {
    size = std::min(byteCount, zeros.size());
    handlers_.captured(ByteView(zeros).first(size));
  }
}

// The signs of life

void MonitorRecorder::checkLater() {
  check_ = loop_.after(silence, [this] { check(); });
}

// An output that is suspended sends nothing either, but its server answers.
void MonitorRecorder::check() {
  if (!std::exchange(heard_, false)) {
    if (awaitsAnswer_ || pa_context_get_state(context_.get()) != PA_CONTEXT_READY)
      return failed("the sound server does not answer");
    awaitsAnswer_ = true;
    findOutput();
  }
  checkLater();
}

}  // namespace quorl
