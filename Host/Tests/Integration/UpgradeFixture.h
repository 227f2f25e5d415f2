// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <Support/Eventually.h>

namespace quorl::test {

/// A real host that runs from a file of its own, so that another version can be installed, and one paired
/// client.
class UpgradeTest : public ::testing::Test {
 protected:
  static constexpr auto patience = std::chrono::seconds(60);

  void SetUp() override {
    install();
    host.emplace(HostProcess::Settings{.port = port,
                                       .home = home.path(),
                                       .options = {"--pin", "111111"},
                                       .environment = {},
                                       .launcher = {},
                                       .program = program.string()});
    ASSERT_TRUE(host->listens()) << output();
    connect();
  }

  /// Puts a file in the place of the program, as a package does: by renaming.
  void install(const std::string& contents = {}, mode_t mode = 0755) {
    const std::filesystem::path fresh = program.string() + ".new";
    if (contents.empty()) {
      std::filesystem::copy_file(hostProgram(), fresh, std::filesystem::copy_options::overwrite_existing);
    } else {
      std::ofstream(fresh) << contents;
    }
    ::chmod(fresh.c_str(), mode);
    std::filesystem::rename(fresh, program);
  }
  void requestUpgrade() { host->program().signal(SIGURG); }
  const std::string& output() { return host->program().output(); }
  bool logs(const std::string& text) { return host->program().waitForOutput(text, patience); }
  bool runsInstalledProgram() const {
    struct stat running{};
    struct stat installed{};
    const std::string exe = "/proc/" + std::to_string(pid()) + "/exe";
    return ::stat(exe.c_str(), &running) == 0 && ::stat(program.c_str(), &installed) == 0 &&
           running.st_ino == installed.st_ino;
  }
  /// Installs another copy, and waits until it runs and listens.
  void upgrade() {
    install();
    ASSERT_FALSE(runsInstalledProgram());
    requestUpgrade();
    ASSERT_TRUE(eventually([this] { return runsInstalledProgram(); }, patience)) << output();
    ASSERT_TRUE(host->listens(patience)) << output();
  }

  void connect() {
    ASSERT_TRUE(eventually(
        [this] {
          client.emplace(port);
          if (token) return client->authenticate(*token);
          token = client->pair("111111");
          return token.has_value();
        },
        patience))
        << output();
  }
  std::vector<AgentDescriptor> list() {
    client->send(message::RequestAgentList{});
    const auto answer = client->next<message::AgentList>();
    return answer ? answer->_0 : std::vector<AgentDescriptor>();
  }
  std::optional<AgentDescriptor> row(const std::string& name) {
    for (const auto& row : list())
      if (row.name == name) return row;
    return std::nullopt;
  }
  UUID spawn(const std::string& name, const std::string& command) {
    client->send(message::AgentCommand{
        agentCommand::Spawn{{.displayName = name, .command = command, .workingDirectory = "/", .env = {}}}});
    std::optional<AgentDescriptor> found;
    EXPECT_TRUE(eventually([&] { return (found = row(name)).has_value(); }, patience)) << name;
    return found ? found->id : UUID{};
  }
  void subscribe(const UUID& agent) { client->send(message::AgentCommand{agentCommand::Subscribe{agent}}); }
  void type(const UUID& agent, const std::string& text) {
    client->send(message::AgentCommand{agentCommand::Write{agent, bytesOf(text)}});
  }
  /// Reads the agent's output, appending to `text`, until it contains `end` or the connection ends.
  bool readUntil(const UUID& agent, const std::string& end, std::string& text) {
    while (text.find(end) == std::string::npos) {
      const auto frame = client->nextFrame(FrameType::terminal);
      if (!frame) return false;
      const auto payload = TerminalPayloadView::decode(frame->payload);
      if (payload && payload->agentID == agent) text += textViewOf(payload->data);
    }
    return true;
  }
  std::string screenUntil(const UUID& agent, const std::string& end) {
    std::string text;
    subscribe(agent);
    EXPECT_TRUE(readUntil(agent, end, text)) << text.substr(0, 300);
    return text;
  }

  pid_t pid() const { return hostProcess().pid(); }
  ChildProgram& hostProcess() const { return const_cast<HostProcess&>(*host).program(); }
  /// Open descriptors, by what they refer to, without the numbers of pipes and sockets.
  std::map<std::string, int> descriptors() const {
    std::map<std::string, int> kinds;
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid()) + "/fd", error)) {
      const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
      ++kinds[target.substr(0, target.find(':'))];
    }
    return kinds;
  }
  int zombies() const {
    int count = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
      std::ifstream stat(entry.path() / "stat");
      std::string line;
      std::getline(stat, line);
      const auto end = line.rfind(')');
      if (end != std::string::npos && line.substr(end).starts_with(") Z " + std::to_string(pid()) + " "))
        ++count;
    }
    return count;
  }

  const std::uint16_t port = freePort();
  TemporaryFolder home;
  const std::filesystem::path program = home.path() / "quorl_host";
  std::optional<HostProcess> host;
  std::optional<RawClient> client;
  std::optional<Bytes> token;
};

}  // namespace quorl::test
