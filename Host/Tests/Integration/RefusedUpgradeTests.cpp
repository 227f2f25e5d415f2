// SPDX-License-Identifier: GPL-3.0-or-later
// Versions that cannot take over, and hand-overs that cannot be read.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>

#include <Integration/UpgradeFixture.h>
#include <QuorlHostCore/Handover/HandOver.h>
#include <QuorlHostLinux/Upgrade/MemoryFile.h>

namespace quorl::test {
namespace {

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
  install("text", 0644);
  refuses("it cannot be started");
}

TEST_F(BrokenUpgradeTest, aProgramThatExitsIsRefused) {
  install("#!/bin/sh\nexit 1\n");
  refuses("exited with status 1");
}

TEST_F(BrokenUpgradeTest, aProgramThatExitsAsIfAllWereWellIsRefused) {
  install("#!/bin/sh\nexit 0\n");
  refuses("exited with status 0");
}

TEST_F(BrokenUpgradeTest, aProgramThatCrashesIsRefused) {
  install("#!/bin/sh\nkill -SEGV $$\n");
  refuses("ended by signal 11");
}

TEST_F(BrokenUpgradeTest, aProgramThatHangsIsRefusedAndKilled) {
  const std::filesystem::path mark = home.path() / "hanging";
  install("#!/bin/sh\nmkfifo " + mark.string() + "\nread x <" + mark.string() + "\n");
  refuses("did not answer in time");
}

TEST_F(BrokenUpgradeTest, aProgramThatRefusesTheVersionIsRefused) {
  install("#!/bin/sh\nexit 87\n");
  refuses("exited with status 87");
}

TEST_F(BrokenUpgradeTest, aMissingProgramIsNoUpgrade) {
  std::filesystem::remove(program);
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
  install("#!/bin/sh\nrm -f '" + program.string() + "'\nexit 86\n");
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
  for (const std::uint8_t version : {0, 3}) {
    Bytes other = sample;
    other[4] = version;
    EXPECT_EQ(answerTo(other), 87) << int{version};
  }
  EXPECT_EQ(answerTo({}), 87);
  EXPECT_EQ(answerTo(Bytes(100'000, 0xff)), 87);
  EXPECT_EQ(answerTo(sample, false), 87) << "only the host makes sealed files";
}

/// A host that is started as the version after the one that left this file.
HostProcess::Settings takingOver(int file, std::uint16_t port, const TemporaryFolder& home) {
  ::fcntl(file, F_SETFD, 0);
  return {.port = port,
          .home = home.path(),
          .options = {"--pin", "111111"},
          .environment = {"QUORL_HOST_HANDOVER=take:" + std::to_string(file)},
          .launcher = {}};
}

TEST(HandOverTrial, aHostThatCannotReadWhatItIsGivenStartsWithoutAgents) {
  Bytes other = HandOverFormat::encode(HandOverFormat::sample());
  other[4] = 3;
  Descriptor file = sealedMemoryFile(other);
  const std::uint16_t port = freePort();
  TemporaryFolder home;
  HostProcess host(takingOver(file.get(), port, home));
  ASSERT_TRUE(host.listens()) << host.program().output();
  EXPECT_TRUE(host.program().waitForOutput("the agents were lost in the upgrade: version 3 instead of 2"));
  RawClient client(port);
  ASSERT_TRUE(client.pair("111111"));
  const auto list = client.next<message::AgentList>();
  ASSERT_TRUE(list);
  EXPECT_TRUE(list->_0.empty());
}

TEST(HandOverTrial, agentsThatDoNotExistCountAsExited) {
  HandOver handOver = HandOverFormat::sample();
  const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
  for (auto& agent : handOver.agents.spawned) agent.session.lastOutput = Date{now.count()};  // old ones go
  Descriptor file = sealedMemoryFile(HandOverFormat::encode(handOver));
  const std::uint16_t port = freePort();
  TemporaryFolder home;
  HostProcess host(takingOver(file.get(), port, home));
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("111111"));
  int exited = 0;
  const auto list = client.next<message::AgentList>();
  ASSERT_TRUE(list);
  for (const auto& row : list->_0)
    if (row.status == AgentStatus::exited && row.kind != AgentKind::externalTerminal) ++exited;
  EXPECT_EQ(exited, 2);
}

}  // namespace
}  // namespace quorl::test
