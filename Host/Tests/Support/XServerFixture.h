// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorl::test {

/// A program that runs beside the test and is ended with this object, also when the test dies.
///
/// *Ownership*: owns the process and reaps it.
class ChildProgram {
 public:
  struct Options {
    std::vector<std::string> environment;  // "NAME=value", beside the test's own
    int passedDescriptor = -1;             // becomes descriptor 7 of the program
    int output = -1;                       // becomes its standard output; -1: discarded
  };

  ChildProgram(const std::vector<std::string>& command, const Options& options);
  ~ChildProgram();
  ChildProgram(ChildProgram&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  ChildProgram& operator=(ChildProgram&&) = delete;

  pid_t pid() const { return pid_; }
  void kill();
  /// Asks the program to end, so that it can clean up, and waits for that.
  void terminate();
  /// Waits for the program's own end; its exit status.
  int wait();

 private:
  pid_t pid_;
};

/// A folder under the system's temporary folder, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// An X server without hardware (Xvfb) on a display number that it chooses itself, with a window manager
/// (openbox) when asked for.
///
/// *Lifetime*: ready when constructed; ends with the object, and so do the programs started on it.
class XServer {
 public:
  enum class WindowManager { none, openbox };
  struct Options {
    int width = 1280;
    int height = 720;
    WindowManager windowManager = WindowManager::none;
  };

  XServer();
  explicit XServer(const Options& options);
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  /// Like ":12".
  const std::string& display() const { return display_; }
  const std::string& folder() const { return folder_.path(); }

  /// Starts a program on this display.
  ChildProgram start(const std::vector<std::string>& command) const;
  /// Runs a program on this display to its end; what it wrote to standard output.
  std::string run(const std::vector<std::string>& command) const;
  /// Ends the server at once, as a crash would.
  void kill();

 private:
  void startWindowManager();

  TemporaryFolder folder_;
  std::string display_;
  std::optional<ChildProgram> server_;
  std::optional<ChildProgram> windowManager_;
};

}  // namespace quorl::test
