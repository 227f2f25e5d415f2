// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <QuorlHostCore/Menu/Model/LineBuffer.h>
#include <QuorlHostCore/Ports/MenuSurface.h>
#include <QuorlHostLinux/Menu/DisplaySocket.h>
#include <QuorlHostPosix/PostedWork.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// Runs the menu program as a child whose standard input is one end of a socket pair, and watches for the
/// display. The child ends when this process does, because it then reads the end of the stream.
///
/// *Queue*: as `MenuSurface`. A thread of its own waits for the child, the pair and the display; it sleeps
/// while nothing happens.
/// *Ownership*: owns the child and reaps it.
class MenuProcess final : public MenuSurface {
 public:
  enum class Errors : std::uint8_t { kept, dropped };
  struct Settings {
    std::vector<std::string> command;  // the program's absolute path and its arguments
    std::string display;
    std::string socketFolder = "/tmp/.X11-unix";
    Errors errors = Errors::dropped;  // kept: the program writes to our standard error
  };
  /// What waits for a program that does not read; more is dropped.
  static constexpr std::size_t maxWaiting = 256 * 1024;
  /// Time for the program to end by itself.
  static constexpr std::chrono::milliseconds farewell{1000};

  explicit MenuProcess(Settings settings);
  ~MenuProcess() override;

  void open(SerialQueue queue, Handlers handlers) override;
  bool isDisplayReachable() override { return display_.accepts(); }
  void startProgram() override;
  void send(std::string line) override;
  void close() override;

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  void wait();
  void spawn();
  void receive();
  void write();
  void endStream();
  void reap();
  void finish(const std::string& reason);

  const Settings settings_;
  DisplaySocket display_;
  std::optional<SerialQueue> queue_;  // this and the handlers are set before the thread starts
  Handlers handlers_;
  PostedWork posted_;

  // Below: the thread's.
  pid_t child_ = -1;
  Descriptor process_;
  Descriptor stream_;
  std::string waiting_;  // not yet written
  LineBuffer input_;
  std::optional<Clock::time_point> killAt_;
  bool isClosing_ = false;

  std::thread thread_;
};

}  // namespace quorl
