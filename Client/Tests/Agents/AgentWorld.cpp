// SPDX-License-Identifier: GPL-3.0-or-later
#include "AgentWorld.h"

#include <sys/stat.h>
#include <cstdlib>
#include <fstream>

#include <Posix/LoopbackPeer.h>
#include <QuorlKit/Foundation/Check.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace quorl::client::test {

using quorl::test::ChildProgram;
using quorl::test::HostProcess;

std::string clientProgram() {
  return QUORL_CLIENT_PROGRAM;
}

AgentWorld::AgentWorld(std::vector<std::string> environment)
    : environment_(std::move(environment)), port_(quorl::test::freePort()) {
  std::string pattern = (std::filesystem::temp_directory_path() / "desk-XXXXXX").string();
  QUORL_CHECK(::mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
  folder_ = pattern;
  std::filesystem::create_directories(home());
  std::filesystem::create_directories(folder_ / "bin");
  // Login shells set their own PATH before they read these files.
  const auto path = fmt::format("PATH='{}':$PATH\nexport PATH\n", (folder_ / "bin").string());
  for (const char* file : {"home/.profile", "home/.zprofile"}) write(file, path);
}

AgentWorld::~AgentWorld() {
  if (host_) {
    host_->program().signal(SIGTERM);
    host_->program().waitForExit();
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void AgentWorld::addProgram(const std::string& name, const std::string& script) const {
  write("bin/" + name, script);
  ::chmod((folder_ / "bin" / name).c_str(), 0755);
}

void AgentWorld::write(const std::string& path, const std::string& text) const {
  std::filesystem::create_directories((folder_ / path).parent_path());
  std::ofstream(folder_ / path, std::ios::binary) << text;
}

void AgentWorld::startHost(const std::vector<std::string>& launcher) {
  HostProcess::Settings settings;
  settings.port = port_;
  settings.home = home();
  settings.options = {"--pin", "123456"};
  settings.environment = environment_;
  settings.launcher = launcher;
  host_ = std::make_unique<HostProcess>(settings);
  ASSERT_TRUE(host_->listens()) << host_->program().output();
  pair("ada", port_);
}

std::vector<std::string> AgentWorld::clientEnvironment(const std::string& person) const {
  return {"XDG_CONFIG_HOME=" + (folder_ / "people" / person).string(), "HOME=" + home().string(),
          "TERM=xterm-256color", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"};
}

void AgentWorld::pair(const std::string& person, std::uint16_t port) const {
  const auto result = run({"pair", fmt::format("127.0.0.1:{}", port), "--pin", "123456"}, person);
  ASSERT_EQ(result.status, 0) << result.output;
}

ProgramResult AgentWorld::run(const std::vector<std::string>& words, const std::string& person) const {
  std::vector<std::string> arguments{clientProgram()};
  arguments.insert(arguments.end(), words.begin(), words.end());
  ChildProgram program(arguments, clientEnvironment(person));
  const auto status = program.waitForExit(std::chrono::seconds(60));
  return {status.value_or(-1), program.output()};
}

std::unique_ptr<TerminalProgram> AgentWorld::onTerminal(const std::vector<std::string>& words,
                                                        const std::string& person, int columns,
                                                        int rows) const {
  std::vector<std::string> arguments{clientProgram()};
  arguments.insert(arguments.end(), words.begin(), words.end());
  return std::make_unique<TerminalProgram>(arguments, clientEnvironment(person), columns, rows);
}

std::string AgentWorld::spawn(const std::vector<std::string>& words) const {
  std::vector<std::string> arguments{"spawn"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  const auto result = run(arguments);
  EXPECT_EQ(result.status, 0) << result.output;
  return result.output.substr(0, 36);
}

}  // namespace quorl::client::test
