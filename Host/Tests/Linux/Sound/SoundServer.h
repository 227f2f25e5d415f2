// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// A PulseAudio server with null outputs, in a folder of its own. PULSE_SERVER of this process names it while
/// the object exists, whether or not it runs.
class SoundServer {
 public:
  SoundServer();
  SoundServer(const SoundServer&) = delete;
  SoundServer& operator=(const SoundServer&) = delete;
  ~SoundServer();

  /// Starts it and waits until it answers.
  void start();
  /// Ends it at once, like a crash.
  void kill();
  void pause() { server_->signal(SIGSTOP); }
  void resume() { server_->signal(SIGCONT); }

  void addOutput(const std::string& name);
  void removeOutput(const std::string& name);
  void setDefaultOutput(const std::string& name);
  /// Plays a tone on both channels of an output, made by the server itself.
  void playTone(int frequency, const std::string& output = "first");
  /// The sources of all recordings, each with a line feed.
  std::string recordedDevices() const;
  /// Programs that play.
  std::size_t playbacks() const;
  /// Like "44%", of the left channel or the only one.
  std::string volume(const std::string& output = "first") const;
  bool isMuted(const std::string& output = "first") const;
  void mute(const std::string& output = "first") const;
  void setVolumes(const std::string& left, const std::string& right) const;
  /// As the server's own tool prints them.
  std::string volumes(const std::string& output = "first") const;
  /// Connected programs, without the one that asks.
  std::size_t clients() const;

  std::string environment() const;  // "PULSE_SERVER=..."
  std::string folder() const { return folder_.path().string(); }

 private:
  std::string control(const std::vector<std::string>& words) const;
  std::string address() const { return "unix:" + folder_.file("native"); }

  TemporaryFolder folder_;
  std::optional<std::string> before_;  // the variable's former value
  std::unique_ptr<ChildProgram> server_;
};

}  // namespace quorl::test
