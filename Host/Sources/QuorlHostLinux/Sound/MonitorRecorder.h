// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/Sound.h>
#include <QuorlHostLinux/Sound/PulseHandles.h>
#include <QuorlHostLinux/Sound/PulseLoop.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Records what the default output of the sound server plays, from construction to destruction. It follows a
/// default that changes, and connects again to a server that ended, hangs or comes later.
///
/// No single path announces a server: the library looks at the environment, two files, a property of the X
/// server and addresses of other machines. So the recorder tries to connect at intervals, which a server that
/// is absent answers at once; and there is a recorder only while a client listens.
///
/// *Queue*: the loop's thread, also for the handlers. *Blocking*: none, except where the library looks up the
/// server. *Lifetime*: shorter than the loop's; destruction ends the connection.
class MonitorRecorder {
 public:
  struct Handlers {
    std::function<void()> recording;          // a recording began
    std::function<void(ByteView)> captured;   // whole frames; bytes valid during the call only
    std::function<void(std::string)> failed;  // an attempt failed; another follows
  };

  MonitorRecorder(PulseLoop& loop, const PCMFormat& format, Handlers handlers);
  MonitorRecorder(const MonitorRecorder&) = delete;
  MonitorRecorder& operator=(const MonitorRecorder&) = delete;

 private:
  void connect();
  void contextChanged();
  void failed(std::string why);
  std::chrono::milliseconds nextDelay();
  void findOutput();
  void findMonitor(const std::string& output);
  void record(const std::string& monitor);
  void recordingFailed();
  void streamChanged();
  void read();
  void readHole(std::size_t byteCount);
  void checkLater();
  void check();

  static MonitorRecorder& self(void* userdata) { return *static_cast<MonitorRecorder*>(userdata); }

  PulseLoop& loop_;
  const pa_sample_spec specification_;
  const Handlers handlers_;

  PulseContextHandle context_;
  PulseStreamHandle stream_;
  std::string monitor_;  // that the stream records; empty without one and after its end
  std::chrono::milliseconds retryDelay_;
  bool heard_ = false;         // from the server, since the last check
  bool awaitsAnswer_ = false;  // a check has asked
  PulseLoop::Timer retry_;
  PulseLoop::Timer check_;
};

}  // namespace quorl
