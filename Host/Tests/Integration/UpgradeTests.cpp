// SPDX-License-Identifier: GPL-3.0-or-later
// A real host that replaces itself by another version, with live agents and a client.
#include <algorithm>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <QuorlHostCore/Handover/HandOver.h>
#include <QuorlHostLinux/Upgrade/MemoryFile.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto patience = 60s;

/// The numbers of the lines "line 17" in a terminal's output; the last line may be incomplete.
std::vector<int> lineNumbers(const std::string& text) {
  std::vector<int> numbers;
  for (std::size_t at = text.find("line "); at != std::string::npos; at = text.find("line ", at + 1)) {
    int number = 0;
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data() + at + 5, end, number).ptr != end) numbers.push_back(number);
  }
  return numbers;
}

class UpgradeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    install(program);
    host.emplace(HostProcess::Settings{port, home.path(), {"--pin", "111111"}, {}, {}, program.string()});
    ASSERT_TRUE(host->listens()) << output();
    connect();
  }

  /// Puts a file in the place of the program, as a package does: by renaming.
  void install(const fs::path& place, const std::string& contents = {}, int mode = 0755) {
    const fs::path fresh = place.string() + ".new";
    if (contents.empty()) {
      fs::copy_file(hostProgram(), fresh, fs::copy_options::overwrite_existing);
    } else {
      std::ofstream(fresh) << contents;
    }
    ::chmod(fresh.c_str(), static_cast<mode_t>(mode));
    fs::rename(fresh, place);
  }
  void requestUpgrade() { host->program().signal(SIGURG); }
  const std::string& output() { return host->program().output(); }
  bool logs(const std::string& text, int times = 1) {
    return eventually(
        [&] {
          int found = 0;
          for (auto at = output().find(text); at != std::string::npos; at = output().find(text, at + 1))
            ++found;
          return found >= times;
        },
        patience);
  }
  bool runsInstalledProgram() const {
    struct stat running{};
    struct stat installed{};
    const std::string exe = "/proc/" + std::to_string(pid()) + "/exe";
    return ::stat(exe.c_str(), &running) == 0 && ::stat(program.c_str(), &installed) == 0 &&
           running.st_ino == installed.st_ino;
  }
  /// Installs another copy, and waits until it runs and listens.
  void upgrade() {
    install(program);
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
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid()) + "/fd", error)) {
      const std::string target = fs::read_symlink(entry.path(), error).string();
      ++kinds[target.substr(0, target.find(':'))];
    }
    return kinds;
  }
  int zombies() const {
    int count = 0;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
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
  const fs::path program = home.path() / "quorl_host";
  std::optional<HostProcess> host;
  std::optional<RawClient> client;
  std::optional<Bytes> token;
};

TEST_F(UpgradeTest, keepsTheProcessItsAgentsTheirScrollbacksAndTheClientsTrust) {
  const UUID cat = spawn("Cat", "stty -echo; echo hello; exec cat");
  const UUID editor =
      spawn("Editor", "printf '\\033[?1049h\\033[?2004hscreen'; while read x; do printf repainted; done");
  const UUID ended = spawn("Ended", "echo gone; exit 3");
  ASSERT_TRUE(eventually([&] { return row("Ended")->status == AgentStatus::exited; }, patience));
  ASSERT_TRUE(eventually([&] { return row("Editor")->preview == "screen"; }, patience));
  screenUntil(cat, "hello");
  const auto before = list();
  const auto host_ = pid();
  upgrade();
  EXPECT_EQ(pid(), host_);
  EXPECT_TRUE(client->next<message::Bye>()) << "clients are asked to come back";
  connect();
  const auto after = list();
  ASSERT_EQ(after.size(), before.size());
  for (const auto& row : before) {
    const auto same = std::ranges::find(after, row.id, &AgentDescriptor::id);
    ASSERT_NE(same, after.end()) << row.name;
    EXPECT_EQ(same->pid, row.pid);
    EXPECT_EQ(same->name, row.name);
    EXPECT_EQ(same->detail, row.detail);
    EXPECT_EQ(same->preview, row.preview);
    EXPECT_EQ(same->lastActivity, row.lastActivity);
    EXPECT_EQ(same->status == AgentStatus::exited, row.status == AgentStatus::exited);
  }
  type(cat, "still here\n");
  EXPECT_TRUE(screenUntil(cat, "still here").find("hello\r\n") != std::string::npos);
  EXPECT_TRUE(screenUntil(ended, "gone").find("gone\r\n") != std::string::npos);
  std::string screen;
  subscribe(editor);
  type(editor, "\n");
  EXPECT_TRUE(readUntil(editor, "repainted", screen));
  EXPECT_NE(screen.find("\x1b[?2004h"), std::string::npos) << "its modes are known";
}

TEST_F(UpgradeTest, aFloodArrivesCompletelyAndOnceAtTheClientThatReconnects) {
  // All of it fits into the scrollback. It is slow enough to last through the switch.
  constexpr int last = 18'000;
  const UUID flood = spawn("Flood",
                           "read go; i=0; while [ $i -lt 18000 ]; do i=$((i+1)); echo \"line $i\"; "
                           "[ $((i % 10)) -gt 0 ] || /bin/true; done; echo 'the end'; read x");
  std::string first;
  subscribe(flood);
  type(flood, "\n");
  ASSERT_TRUE(readUntil(flood, "line 2000\r\n", first));
  install(program);
  requestUpgrade();
  readUntil(flood, "the end", first);
  ASSERT_TRUE(eventually([this] { return runsInstalledProgram(); }, patience)) << output();
  ASSERT_EQ(first.find("the end"), std::string::npos) << "the flood was over before the switch";
  connect();
  const std::string second = screenUntil(flood, "the end");
  // What the client has shown is the start of what it is shown now, and new output follows.
  const auto begin = second.find("line 1\r\n");
  const auto shown = first.find("line 1\r\n");
  ASSERT_NE(begin, std::string::npos);
  EXPECT_EQ(second.compare(begin, first.size() - shown, first, shown), 0);
  const auto numbers = lineNumbers(second);
  ASSERT_EQ(numbers.size(), static_cast<std::size_t>(last));
  for (int i = 0; i < last; ++i) ASSERT_EQ(numbers[static_cast<std::size_t>(i)], i + 1);
}

TEST_F(UpgradeTest, aFloodAtFullSpeedHasNoGapAcrossTheSwitch) {
  const UUID flood = spawn("Flood", "i=0; while [ ! -e " + (home.path() / "stop").string() +
                                        " ]; do i=$((i+1)); echo \"line $i\"; done; echo 'the end'; read x");
  subscribe(flood);
  upgrade();
  std::ofstream(home.path() / "stop") << "x";
  connect();
  const std::string text = screenUntil(flood, "the end");
  const auto numbers = lineNumbers(text);
  ASSERT_GT(numbers.size(), 100u);
  for (std::size_t i = 1; i < numbers.size(); ++i) ASSERT_EQ(numbers[i], numbers[i - 1] + 1);
}

TEST_F(UpgradeTest, inputThatAClientFloodsBeforeTheSwitchArrivesInOrderAndOnce) {
  const fs::path received = home.path() / "received";
  const UUID reader = spawn("Reader", "stty raw -echo; echo ready; exec cat >" + received.string());
  screenUntil(reader, "ready");
  install(program);
  requestUpgrade();
  int sent = 0;
  // Until the host disconnects.
  while (sent < 2'000'000 &&
         client->peer().write(
             OutgoingFrame::control(message::AgentCommand{agentCommand::Write{
                                        reader, bytesOf("line " + std::to_string(sent) + "\n")}})
                 .value()
                 .encoded()))
    ++sent;
  ASSERT_TRUE(eventually([this] { return runsInstalledProgram(); }, patience)) << output();
  connect();
  type(reader, "the end\n");
  std::string text;
  ASSERT_TRUE(eventually(
      [&] {
        std::ifstream file(received);
        text.assign(std::istreambuf_iterator<char>(file), {});
        return text.ends_with("the end\n");
      },
      patience));
  const auto numbers = lineNumbers(text);
  ASSERT_GT(numbers.size(), 0u);
  for (std::size_t i = 0; i < numbers.size(); ++i) ASSERT_EQ(numbers[i], static_cast<int>(i));
}

TEST_F(UpgradeTest, tenUpgradesInARowLeaveNoDescriptorAndNoZombie) {
  const UUID cat = spawn("Cat", "stty -echo; exec cat");
  spawn("Sleeper", "read x");
  const auto agent = row("Cat")->pid;
  client.reset();
  upgrade();
  connect();
  ASSERT_EQ(list().size(), 2u);
  client.reset();
  std::map<std::string, int> before;
  ASSERT_TRUE(eventually(
      [&] {
        const auto now = descriptors();
        return std::exchange(before, now) == now;
      },
      patience));
  for (int turn = 0; turn < 9; ++turn) {
    upgrade();
    connect();
    type(cat, "turn " + std::to_string(turn) + "\n");
    screenUntil(cat, "turn " + std::to_string(turn));
    client.reset();
  }
  EXPECT_TRUE(eventually([&] { return descriptors() == before; }, patience))
      << ::testing::PrintToString(descriptors()) << ::testing::PrintToString(before);
  EXPECT_EQ(zombies(), 0);
  connect();
  EXPECT_EQ(row("Cat")->pid, agent);
}

TEST_F(UpgradeTest, anAgentThatEndsDuringTheSwitchIsReapedAndShownAsExited) {
  spawn("Short", "while [ ! -e " + (home.path() / "stop").string() + " ]; do :; done; echo bye");
  install(program);
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>());
  std::ofstream(home.path() / "stop") << "x";
  ASSERT_TRUE(eventually([this] { return runsInstalledProgram(); }, patience)) << output();
  connect();
  EXPECT_TRUE(eventually([&] { return row("Short")->status == AgentStatus::exited; }, patience));
  EXPECT_EQ(row("Short")->preview, "bye");
  EXPECT_EQ(zombies(), 0);
}

TEST_F(UpgradeTest, anOrderlyStopAfterAnUpgradeEndsTheAgents) {
  spawn("Cat", "exec cat");
  const auto agent = row("Cat")->pid;
  ASSERT_TRUE(agent);
  upgrade();
  hostProcess().signal(SIGTERM);
  EXPECT_EQ(hostProcess().waitForExit(), 0) << output();
  EXPECT_NE(::kill(*agent, 0), 0);
}

TEST_F(UpgradeTest, aRequestToEndDuringTheSwitchEndsTheHostAndItsAgentsInOrder) {
  spawn("Cat", "exec cat");
  const auto agent = row("Cat")->pid;
  ASSERT_TRUE(agent);
  install(program);
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>());
  hostProcess().signal(SIGTERM);
  EXPECT_EQ(hostProcess().waitForExit(), 0) << output();
  EXPECT_NE(::kill(*agent, 0), 0);
}

TEST_F(UpgradeTest, aVersionThatIsInstalledDuringTheSwitchFollows) {
  spawn("Cat", "exec cat");
  const auto agent = row("Cat")->pid;
  install(program);
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>());
  install(program);
  requestUpgrade();
  ASSERT_TRUE(eventually([this] { return runsInstalledProgram(); }, patience)) << output();
  connect();
  EXPECT_EQ(row("Cat")->pid, agent);
}

TEST_F(UpgradeTest, agentsStartedAfterwardsGetTheSameEnvironmentAndLimits) {
  const std::string command =
      "echo begin; ulimit -Sn; env | sort | grep -v '^_='; ls /proc/self/fd; echo 'the end'; read x";
  const auto facts = [&](const std::string& name) {
    const std::string text = screenUntil(spawn(name, command), "the end");
    return text.substr(text.find("begin"));
  };
  const std::string before = facts("Before");
  upgrade();
  connect();
  EXPECT_EQ(facts("After"), before);
}

TEST_F(UpgradeTest, aRequestForTheRunningVersionChangesNothing) {
  const UUID cat = spawn("Cat", "stty -echo; exec cat");
  requestUpgrade();
  for (int probe = 0; probe < 20; ++probe) ASSERT_TRUE(client->echoes()) << "disconnected";
  type(cat, "here\n");
  screenUntil(cat, "here");
}

class BrokenUpgradeTest : public UpgradeTest {
 protected:
  void refuses(const std::string& reason) {
    const UUID cat = spawn("Cat", "stty -echo; echo started; exec cat");
    screenUntil(cat, "started");
    requestUpgrade();
    EXPECT_TRUE(logs("this version goes on")) << output();
    EXPECT_TRUE(logs(reason)) << output();
    type(cat, "unharmed\n");
    std::string text;
    EXPECT_TRUE(readUntil(cat, "unharmed", text)) << "the session was disconnected";
    EXPECT_EQ(zombies(), 0);
    // A working version afterwards is accepted.
    upgrade();
    connect();
    screenUntil(cat, "unharmed");
  }
};

TEST_F(BrokenUpgradeTest, aProgramThatCannotBeExecutedIsRefused) {
  install(program, "text", 0644);
  refuses("it cannot be started");
}

TEST_F(BrokenUpgradeTest, aProgramThatExitsIsRefused) {
  install(program, "#!/bin/sh\nexit 1\n");
  refuses("exited with status 1");
}

TEST_F(BrokenUpgradeTest, aProgramThatExitsAsIfAllWereWellIsRefused) {
  install(program, "#!/bin/sh\nexit 0\n");
  refuses("exited with status 0");
}

TEST_F(BrokenUpgradeTest, aProgramThatCrashesIsRefused) {
  install(program, "#!/bin/sh\nkill -SEGV $$\n");
  refuses("ended by signal 11");
}

TEST_F(BrokenUpgradeTest, aProgramThatHangsIsRefusedAndKilled) {
  const fs::path mark = home.path() / "hanging";
  install(program, "#!/bin/sh\nmkfifo " + mark.string() + "\nread x <" + mark.string() + "\n");
  refuses("did not answer in time");
}

TEST_F(BrokenUpgradeTest, aProgramThatRefusesTheVersionIsRefused) {
  install(program, "#!/bin/sh\nexit 87\n");
  refuses("exited with status 87");
}

TEST_F(BrokenUpgradeTest, aMissingProgramIsNoUpgrade) {
  fs::remove(program);
  const UUID cat = spawn("Cat", "stty -echo; exec cat");
  requestUpgrade();
  for (int probe = 0; probe < 20; ++probe) ASSERT_TRUE(client->echoes()) << "disconnected";
  upgrade();
  connect();
  type(cat, "here\n");
  screenUntil(cat, "here");
}

// It answers the trial rightly, and has become unusable when it is executed.
TEST_F(BrokenUpgradeTest, theOldVersionGoesOnIfTheNewOneCannotBeExecutedAfterAll) {
  const UUID cat = spawn("Cat", "stty -echo; echo started; exec cat");
  screenUntil(cat, "started");
  const auto agent = row("Cat")->pid;
  install(program, "#!/bin/sh\nrm -f '" + program.string() + "'\nexit 86\n");
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>()) << output();
  ASSERT_TRUE(logs("upgrade failed")) << output();
  connect();
  EXPECT_EQ(row("Cat")->pid, agent);
  type(cat, "unharmed\n");
  EXPECT_NE(screenUntil(cat, "unharmed").find("started"), std::string::npos);
  EXPECT_EQ(zombies(), 0);
  upgrade();
  connect();
  screenUntil(cat, "unharmed");
}

/// The exit status of a version that is asked whether it reads this file.
std::optional<int> answerTo(const Bytes& bytes, bool isSealed = true) {
  Descriptor file = sealedMemoryFile(bytes);
  if (!isSealed) {
    file = Descriptor(::memfd_create("open", 0));
    EXPECT_EQ(::write(file.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  ::fcntl(file.get(), F_SETFD, 0);
  ChildProgram asked({hostProgram()}, {"QUORL_HOST_HANDOVER=trial:" + std::to_string(file.get())});
  return asked.waitForExit();
}

TEST(HandOverTrial, aVersionAcceptsItsOwnFormOnly) {
  const Bytes sample = HandOverFormat::encode(HandOverFormat::sample());
  EXPECT_EQ(answerTo(sample), 86);
  for (const std::uint8_t version : {0, 2}) {
    Bytes other = sample;
    other[4] = version;
    EXPECT_EQ(answerTo(other), 87) << int{version};
  }
  EXPECT_EQ(answerTo({}), 87);
  EXPECT_EQ(answerTo(Bytes(100'000, 0xff)), 87);
  EXPECT_EQ(answerTo(sample, false), 87) << "only the host makes sealed files";
}

TEST(HandOverTrial, aHostThatCannotReadWhatItIsGivenStartsWithoutAgents) {
  Bytes other = HandOverFormat::encode(HandOverFormat::sample());
  other[4] = 2;
  Descriptor file = sealedMemoryFile(other);
  ::fcntl(file.get(), F_SETFD, 0);
  const std::uint16_t port = freePort();
  TemporaryFolder home;
  HostProcess host({port,
                    home.path(),
                    {"--pin", "111111"},
                    {"QUORL_HOST_HANDOVER=take:" + std::to_string(file.get())},
                    {},
                    hostProgram()});
  ASSERT_TRUE(host.listens()) << host.program().output();
  EXPECT_TRUE(host.program().waitForOutput("the agents were lost in the upgrade: version 2 instead of 1"));
  RawClient client(port);
  ASSERT_TRUE(client.pair("111111"));
  EXPECT_TRUE(client.next<message::AgentList>()->_0.empty());
}

TEST(HandOverTrial, agentsThatDoNotExistCountAsExited) {
  Descriptor file = sealedMemoryFile(HandOverFormat::encode(HandOverFormat::sample()));
  ::fcntl(file.get(), F_SETFD, 0);
  const std::uint16_t port = freePort();
  TemporaryFolder home;
  HostProcess host({port,
                    home.path(),
                    {"--pin", "111111"},
                    {"QUORL_HOST_HANDOVER=take:" + std::to_string(file.get())},
                    {},
                    hostProgram()});
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("111111"));
  int exited = 0;
  for (const auto& row : client.next<message::AgentList>()->_0)
    if (row.status == AgentStatus::exited && row.kind != AgentKind::externalTerminal) ++exited;
  EXPECT_EQ(exited, 2);
}

}  // namespace
}  // namespace quorl::test
