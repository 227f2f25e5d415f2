// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include <quorl-viewer/Sound/SoundOutput.h>

struct pa_context;
struct pa_stream;
struct pa_threaded_mainloop;
struct pa_time_event;

namespace quorl::viewer {

/// Plays on the default output of the sound server (PulseAudio or PipeWire), with a buffer of 20 ms there.
/// The server moves the stream when the default output changes. If the stream or the server ends, the output
/// connects again, after 0.25 s at first and 4 s at most.
///
/// *Queue*: the library's own thread. *Lifetime*: destruction waits for that thread.
class PulseOutput : public SoundOutput {
 public:
  PulseOutput();
  ~PulseOutput() override;
  PulseOutput(const PulseOutput&) = delete;
  PulseOutput& operator=(const PulseOutput&) = delete;

  void open(SoundFormat format, Handlers handlers) override;
  void close() override;
  void wake() override;

 private:
  class Lock;
  using Retry = void (PulseOutput::*)();

  void connect();
  void contextChanged();
  void play();
  void streamChanged();
  void write(std::size_t byteCount);
  void dropStream();
  void dropContext();
  void fail(const std::string& reason, Retry retry);
  void retryLater(Retry retry);
  void cancelRetry();

  static PulseOutput& self(void* userdata) { return *static_cast<PulseOutput*>(userdata); }

  pa_threaded_mainloop* loop_;
  // Guarded by the loop's lock, which its callbacks hold.
  pa_context* context_ = nullptr;
  pa_stream* stream_ = nullptr;
  pa_time_event* timer_ = nullptr;
  Retry retry_ = nullptr;
  std::chrono::milliseconds retryDelay_;
  bool isReported_ = false;
  SoundFormat format_;
  Handlers handlers_;

  std::atomic<bool> isPaused_ = false;
};

}  // namespace quorl::viewer
