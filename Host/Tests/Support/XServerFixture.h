// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// A program that runs during the test and is ended with this object, also if the test dies.
///
/// *Ownership*: owns the process and reaps it.
class HelperProgram {
 public:
  struct Options {
    std::vector<std::string> environment;  // "NAME=value", added to the test's own
    int passedDescriptor = -1;             // becomes descriptor 7 of the program
    int output = -1;                       // becomes its standard output; -1: discarded
  };

  HelperProgram(const std::vector<std::string>& command, const Options& options);
  ~HelperProgram();
  HelperProgram(HelperProgram&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  HelperProgram& operator=(HelperProgram&&) = delete;

  pid_t pid() const { return pid_; }
  void kill();
  /// Asks the program to end, so that it can clean up, and waits for it.
  void terminate();
  /// Waits for the program to end and returns its exit status.
  int wait();

 private:
  pid_t pid_;
};

/// An X server without hardware (Xvfb) on a display number of its choice, with a window manager (openbox) on
/// request.
///
/// *Lifetime*: ready when constructed. Destruction ends it and the programs started on it.
class XServer {
 public:
  enum class WindowManager { none, openbox };
  struct Options {
    int width = 1280;
    int height = 720;
    WindowManager windowManager = WindowManager::none;
    std::vector<std::string> withoutExtensions;  // by their X11 names
  };

  XServer();
  explicit XServer(const Options& options);
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  /// Like ":12".
  const std::string& display() const { return display_; }
  std::string folder() const { return folder_.path().string(); }

  /// Starts a program on this display.
  HelperProgram start(const std::vector<std::string>& command) const;
  /// Runs a program on this display to its end, for a minute at most, and returns its standard output.
  std::string run(const std::vector<std::string>& command) const;
  /// Ends the server at once, like a crash.
  void kill();
  /// Ends the window manager at once, like a crash.
  void killWindowManager();
  /// Starts it again, and does not wait until it manages the windows.
  void restartWindowManager();
  /// Between these the server runs no request.
  void pause() const;
  void resume() const;

 private:
  void startWindowManager();

  TemporaryFolder folder_;
  std::string display_;
  std::optional<HelperProgram> server_;
  std::optional<HelperProgram> windowManager_;
};

}  // namespace quorl::test
