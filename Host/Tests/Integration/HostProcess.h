// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// The path of the program under test.
std::string hostProgram();

/// A real host process: without a display, with a home folder and a port of the test. It looks for no web
/// services, because its requests would reach the servers of other tests.
class HostProcess {
 public:
  struct Settings {
    std::uint16_t port = 0;
    std::uint16_t relayPort = 0;  // 0: any free one
    std::filesystem::path home;
    std::vector<std::string> options;
    std::vector<std::string> environment;
    std::vector<std::string> launcher;  // arguments before the program, to run it as another user
    std::string program = hostProgram();
  };

  explicit HostProcess(const Settings& settings);

  ChildProgram& program() { return *program_; }
  /// Waits until a connection is accepted.
  bool listens(std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
  static bool isListening(std::uint16_t port);

 private:
  std::uint16_t port_;
  std::unique_ptr<ChildProgram> program_;
};

}  // namespace quorl::test
