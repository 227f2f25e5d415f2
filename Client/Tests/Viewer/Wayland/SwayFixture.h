// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::viewer::test {

/// A Wayland compositor (sway) without hardware, with one output of 1280x720 in a runtime folder of its own.
/// Its binding Mod4+x makes `bindingFired` true.
///
/// *Lifetime*: ready when constructed; destruction ends it. Started by root it runs as nobody, because sway
/// refuses root.
class Sway {
 public:
  Sway();

  /// The path of the socket, which WAYLAND_DISPLAY may be.
  std::string display() const { return (folder_ / "run" / "wayland-1").string(); }
  /// What its clients need besides the display.
  std::string runtimeFolder() const { return (folder_ / "run").string(); }
  /// Runs a command of sway(5) and returns its answer.
  std::string run(const std::string& command) const;
  /// The answer to a question of swaymsg(1), in JSON.
  std::string ask(const std::string& question) const;
  /// Runs a program of the desktop to its end, or starts one that keeps running.
  std::string runClient(const std::vector<std::string>& command) const;
  std::unique_ptr<quorl::test::ChildProgram> startClient(const std::vector<std::string>& command) const;

  bool bindingFired() const;
  void forgetBinding() const;

 private:
  std::vector<std::string> environment() const;

  quorl::test::TemporaryFolder folder_;
  std::unique_ptr<quorl::test::ChildProgram> program_;
};

}  // namespace quorl::viewer::test
