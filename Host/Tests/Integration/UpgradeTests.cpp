// SPDX-License-Identifier: GPL-3.0-or-later
// A real host that replaces itself by another version, with live agents and a client.
#include <charconv>

#include <Integration/UpgradeFixture.h>

namespace quorl::test {
namespace {

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
  install();
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
  const std::filesystem::path received = home.path() / "received";
  const UUID reader = spawn("Reader", "stty raw -echo; echo ready; exec cat >" + received.string());
  screenUntil(reader, "ready");
  install();
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
  install();
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
  install();
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>());
  hostProcess().signal(SIGTERM);
  EXPECT_EQ(hostProcess().waitForExit(), 0) << output();
  EXPECT_NE(::kill(*agent, 0), 0);
}

TEST_F(UpgradeTest, aVersionThatIsInstalledDuringTheSwitchFollows) {
  spawn("Cat", "exec cat");
  const auto agent = row("Cat")->pid;
  install();
  requestUpgrade();
  ASSERT_TRUE(client->next<message::Bye>());
  install();
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

}  // namespace
}  // namespace quorl::test
