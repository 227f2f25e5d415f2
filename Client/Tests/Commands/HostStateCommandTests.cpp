// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/eventfd.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"
#include "../Support/SampleState.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using test::sampleNetwork;
using test::samplePNG;
using test::sampleState;
using testing::HasSubstr;
using testing::Not;

class HostStateCommandTest : public testing::Test {
 protected:
  static OutgoingFrame frameOf(const ControlMessage& message) { return *OutgoingFrame::control(message); }
  static HostState stateWithIcon() {
    HostState state = sampleState();
    state.apps[0].iconPNG = samplePNG();
    return state;
  }
  // Runs the command until it has taken all pushes, and interrupts it then.
  test::CommandResult follow(test::HostBehaviour behaviour, std::vector<std::string> words) {
    behaviour.pushes.push_back(OutgoingFrame::raw(FrameType::ping, shareBytes(bytesOf("end"))));
    FakeHost host(std::move(behaviour));
    run_.addHost(host.pairedHost());
    const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    run_.interruptDescriptor = interruption.get();
    test::CommandResult result;
    std::thread person([&] { result = run_(words); });
    EXPECT_TRUE(host.waitUntil([](const FakeHost& seen) { return !seen.pongs().empty(); }));
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
    person.join();
    return result;
  }
  std::string icons() const { return run_.folder().file("icons"); }

  CommandRun run_;
};

TEST_F(HostStateCommandTest, showsAHostAndEscapesItsTexts) {
  FakeHost host({.hostState = sampleState(), .networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  const auto result = run_({"info"});
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_TRUE(result.notes.empty()) << result.notes;
  for (const auto* part : {"Fake host", "2560x1600", "300x200  10,20", "note\\x1b[2J", "org.example.editor",
                           "processor 25 %", "1024 of 4096 MiB", "up 01:00:00", "heat nominal",
                           "tailscale (online)", "100.64.0.1", "session port 47900, relay port 47901"})
    EXPECT_THAT(result.out, HasSubstr(part));
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST_F(HostStateCommandTest, reportsWhatTheHostDidNotSend) {
  FakeHost host({.hostState = sampleState()});
  run_.addHost(host.pairedHost());
  const auto result = run_({"info", "--wait", "0.2", "--json"});
  EXPECT_EQ(result.code, ExitCode::ok);
  EXPECT_THAT(result.notes, HasSubstr("network status"));
  EXPECT_THAT(result.notes, Not(HasSubstr("displays")));
  EXPECT_THAT(result.out, HasSubstr("\"hostState\":{\"displays\":[{\"id\":1"));
  EXPECT_THAT(result.out, Not(HasSubstr("networkStatus")));
}

TEST_F(HostStateCommandTest, failsIfTheHostSendsNothing) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  EXPECT_EQ(run_({"info", "--wait", "0.2"}).code, ExitCode::timedOut);
}

TEST_F(HostStateCommandTest, asksAgainForIconsThatTheFirstStateLacks) {
  FakeHost host(
      {.hostState = sampleState(), .laterState = stateWithIcon(), .networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  const auto result = run_({"info", "--wait", "30", "--icons", icons()});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.notes, HasSubstr("1 of 1 icons saved."));
  EXPECT_TRUE(std::filesystem::exists(icons() + "/org.example.editor.png"));
  EXPECT_EQ(host.messagesOf<message::RequestHostState>().size(), 2U);
}

TEST_F(HostStateCommandTest, asksOnceWithoutIcons) {
  FakeHost host(
      {.hostState = sampleState(), .laterState = stateWithIcon(), .networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  EXPECT_EQ(run_({"info"}).code, ExitCode::ok);
  EXPECT_EQ(host.messagesOf<message::RequestHostState>().size(), 1U);
}

TEST_F(HostStateCommandTest, waitsForMissingIconsNoLongerThanAsked) {
  FakeHost host({.hostState = sampleState(), .networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  const auto result = run_({"info", "--wait", "0.5", "--icons", icons()});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.notes, HasSubstr("0 of 1 icons saved."));
}

TEST_F(HostStateCommandTest, saysThatIconsCannotBeSaved) {
  FakeHost host({.hostState = stateWithIcon(), .networkStatus = sampleNetwork()});
  run_.addHost(host.pairedHost());
  const auto file = run_.folder().write("file", "");
  const auto result = run_({"info", "--icons", file});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_THAT(result.notes, HasSubstr("cannot be written"));
}

TEST_F(HostStateCommandTest, followsTheMetricsAndTheTablesThatChange) {
  HostState changed = sampleState();
  changed.windows[0].title = "another title";
  const auto result = follow(
      {.pushes = {frameOf(message::HostState{sampleState()}), frameOf(message::Metrics{{0.5, 0, 0, 10, 1}}),
                  frameOf(message::HostState{sampleState()}), frameOf(message::HostState{changed}),
                  frameOf(message::Metrics{{0.75, 0, 0, 12, 1}})}},
      {"info", "--follow"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  const auto count = [&](const std::string& part) {
    std::size_t found = 0;
    for (auto at = result.out.find(part); at != std::string::npos; at = result.out.find(part, at + 1))
      ++found;
    return found;
  };
  EXPECT_EQ(count("windows: 1"), 2U) << result.out;
  EXPECT_EQ(count("another title"), 1U);
  EXPECT_EQ(count("metrics: "), 3U) << "one in the first state, then each push";
  EXPECT_THAT(result.out, HasSubstr("processor 75 %"));
}

TEST_F(HostStateCommandTest, followsAsOneMessageALine) {
  const auto result = follow(
      {.pushes = {frameOf(message::HostState{sampleState()}), frameOf(message::Metrics{{0.5, 0, 0, 10, 1}})}},
      {"info", "--follow", "--json"});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_THAT(result.out, testing::StartsWith("{\"hostState\":{\"_0\":{\"displays\":"));
  EXPECT_THAT(result.out, HasSubstr("\n{\"metrics\":{\"_0\":{\"cpuUsage\":0.5"));
}

TEST_F(HostStateCommandTest, savesIconsThatArriveWhileItFollows) {
  const auto result = follow(
      {.pushes = {frameOf(message::HostState{sampleState()}), frameOf(message::HostState{stateWithIcon()})}},
      {"info", "--follow", "--icons", icons()});
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_TRUE(std::filesystem::exists(icons() + "/org.example.editor.png"));
}

TEST_F(HostStateCommandTest, launchesByIdentifierOrPath) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  EXPECT_EQ(run_({"launch", "org.example.editor"}).code, ExitCode::ok);
  EXPECT_EQ(run_({"launch", "/usr/bin/xterm"}).code, ExitCode::ok);
  const auto requests = host.messagesOf<message::LaunchApp>();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0]._0, (LaunchApp{"org.example.editor", false}));
  EXPECT_EQ(requests[1]._0, (LaunchApp{"/usr/bin/xterm", false}));
}

TEST_F(HostStateCommandTest, refusesToLaunchWhatIsNoApplication) {
  FakeHost host({});
  run_.addHost(host.pairedHost());
  for (const char* wrong : {"", "bin/xterm", "../xterm", "./xterm", "org.example\n", "\x1b[2J", "/bin/x\x7f"})
    EXPECT_EQ(run_({"launch", wrong}).code, ExitCode::usage) << wrong;
  EXPECT_EQ(run_({"launch"}).code, ExitCode::usage);
  EXPECT_EQ(host.connections(), 0);
}

}  // namespace
}  // namespace quorl::client
