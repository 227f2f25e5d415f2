// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>

#include <gtest/gtest.h>

#include <string>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakePseudoTerminals.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using Attention = std::pair<std::string, std::string>;
using test::FakeChild;
using test::FakePseudoTerminals;

class PTYSessionTest : public testing::Test {
 protected:
  void spawn(PTYSession::Parameters parameters) {
    auto made = PTYSession::spawn(std::move(parameters), scheduler, terminals, "/home/kim");
    ASSERT_TRUE(made.has_value());
    session = *made;
    session->startMonitoring(
        {.onOutput = [this](const SharedBytes& bytes) { output += textOf(*bytes); },
         .onStatusChange = [this](AgentStatus status) { statuses.push_back(status); },
         .onAttention = [this](const std::string& title,
                               const std::string& body) { attentions.emplace_back(title, body); }});
  }
  void spawn(AgentAdapter adapter = AgentAdapter::generic) {
    spawn({.id = UUID::random(),
           .displayName = "My agent",
           .command = "agent --go",
           .workingDirectory = "~/work",
           .env = {},
           .adapter = adapter});
  }
  FakeChild& child() { return terminals.last(); }
  void print(std::string_view text) {
    child().print(text);
    scheduler.runReady();
  }

  SimulatedScheduler scheduler;
  FakePseudoTerminals terminals;
  std::shared_ptr<PTYSession> session;
  std::string output;
  std::vector<AgentStatus> statuses;
  std::vector<Attention> attentions;
};

TEST_F(PTYSessionTest, startsTheCommandInATerminalOf40RowsAnd100Columns) {
  spawn();
  EXPECT_EQ(child().request.command, "agent --go");
  EXPECT_EQ(child().request.workingDirectory, "/home/kim/work");
  EXPECT_EQ(child().request.columns, 100);
  EXPECT_EQ(child().request.rows, 40);
  EXPECT_EQ(session->pid(), 4001);
  EXPECT_EQ(session->ttyName(), "/dev/pts/1");
  EXPECT_EQ(session->status(), AgentStatus::running);
}

TEST_F(PTYSessionTest, expandsOnlyItsOwnTilde) {
  EXPECT_EQ(PTYSession::expandTilde("", "/h"), "/h");
  EXPECT_EQ(PTYSession::expandTilde("~", "/h"), "/h");
  EXPECT_EQ(PTYSession::expandTilde("~/a/b", "/h"), "/h/a/b");
  EXPECT_EQ(PTYSession::expandTilde("~other/x", "/h"), "~other/x");
  EXPECT_EQ(PTYSession::expandTilde("/a/~", "/h"), "/a/~");
}

TEST_F(PTYSessionTest, letsACallersEnvironmentOverrideItsOwn) {
  spawn({.id = UUID::random(),
         .displayName = "x",
         .command = "c",
         .workingDirectory = "~",
         .env = {{"TERM", "dumb"}, {"EXTRA", "1"}}});
  EXPECT_EQ(child().request.workingDirectory, "/home/kim");
  EXPECT_EQ(child().request.environment["TERM"], "dumb");
  EXPECT_EQ(child().request.environment["LANG"], "en_US.UTF-8");
  EXPECT_EQ(child().request.environment["EXTRA"], "1");
  spawn();
  EXPECT_EQ(child().request.environment["TERM"], "xterm-256color");
}

TEST_F(PTYSessionTest, reportsTheStepOfASpawnThatFailed) {
  terminals.failure = PseudoTerminalError{PseudoTerminalStep::openTerminal, {"out of ptys", 5}};
  auto made = PTYSession::spawn({}, scheduler, terminals, "/h");
  ASSERT_FALSE(made.has_value());
  EXPECT_EQ(made.error(), (WireError{"agent.pty", "openpty failed: out of ptys"}));
  terminals.failure = PseudoTerminalError{PseudoTerminalStep::spawn, {"No such file or directory", 2}};
  made = PTYSession::spawn({}, scheduler, terminals, "/h");
  ASSERT_FALSE(made.has_value());
  EXPECT_EQ(made.error(), (WireError{"agent.spawn", "posix_spawn failed: No such file or directory"}));
}

TEST_F(PTYSessionTest, passesOutputOnAndKeepsItInTheScrollback) {
  spawn();
  print("hello ");
  print("world\r\n");
  EXPECT_EQ(output, "hello world\r\n");
  EXPECT_EQ(textOf(session->scrollback()), "hello world\r\n");
  EXPECT_EQ(session->summary().previewLine, "hello world");
}

TEST_F(PTYSessionTest, datesItsActivityByTheLastOutput) {
  spawn();
  const Date created = session->lastActivity();
  scheduler.advance(10s);
  EXPECT_EQ(session->lastActivity(), created);
  print("x");
  EXPECT_DOUBLE_EQ(session->lastActivity().secondsSince1970 - created.secondsSince1970, 10);
}

TEST_F(PTYSessionTest, isRunningWhileAProgramPrintsAfterABellAndWaitsTwoSecondsAfterIt) {
  spawn();
  print("\x07");
  for (int i = 0; i < 60; ++i) {
    scheduler.advance(1s);
    print("still going\n");
  }
  EXPECT_TRUE(statuses.empty());
  scheduler.advance(1900ms);
  EXPECT_TRUE(statuses.empty());
  scheduler.advance(200ms);
  EXPECT_EQ(statuses, std::vector{AgentStatus::waitingInput});
  EXPECT_EQ(attentions, std::vector{Attention("My agent", "still going")});
}

TEST_F(PTYSessionTest, isIdleAtTheTickAfterABellWasConsumedByAnAttention) {
  spawn();
  print("\x07");
  scheduler.advance(10s);
  EXPECT_EQ(statuses, (std::vector{AgentStatus::waitingInput, AgentStatus::idle}));
  EXPECT_EQ(attentions.size(), 1U);
}

TEST_F(PTYSessionTest, notifiesEveryThirtySecondsWhileAQuestionIsOnTheScreen) {
  spawn(AgentAdapter::claudeCode);
  print("edit a.txt\r\n Do you want to proceed \r\n");
  scheduler.advance(300s);
  EXPECT_EQ(attentions, std::vector<Attention>(10, {"My agent", "Do you want to proceed"}));
  EXPECT_EQ(statuses, std::vector{AgentStatus::waitingInput});
}

TEST_F(PTYSessionTest, saysWaitingForInputWhenTheScreenHoldsOnlySequences) {
  spawn();
  print("\x1b[2J\x1b[1;1H\x07");
  scheduler.advance(3s);
  EXPECT_EQ(attentions, std::vector{Attention("My agent", "waiting for input")});
}

TEST_F(PTYSessionTest, isRunningAgainWithTheFirstOutputAndAsksOnlyAfterThirtySecondsMore) {
  spawn();
  print("ok? ");
  scheduler.advance(5s);
  print("yes\r\nanother? ");
  EXPECT_EQ(statuses, (std::vector{AgentStatus::waitingInput, AgentStatus::running}));
  scheduler.advance(20s);
  EXPECT_EQ(attentions.size(), 1U);
  scheduler.advance(10s);
  EXPECT_EQ(attentions.size(), 2U);
  EXPECT_EQ(attentions.back().second, "another?");
}

TEST_F(PTYSessionTest, armsNoTimerWhileItIsIdle) {
  spawn();
  print("quiet\n");
  scheduler.advance(5s);
  EXPECT_EQ(session->status(), AgentStatus::idle);
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST_F(PTYSessionTest, armsOneTimerDuringAFlood) {
  spawn();
  for (int i = 0; i < 100; ++i) print(std::string(65'536, 'x'));
  EXPECT_EQ(scheduler.pendingTimers(), 1U);
  EXPECT_LE(session->scrollback().size(), Scrollback::limit);
}

TEST_F(PTYSessionTest, recognisesTheAlternateScreenInASequenceSplitBetweenReads) {
  spawn();
  print("vi\x1b[?10");
  EXPECT_FALSE(session->isAlternateScreen());
  print("49h");
  EXPECT_TRUE(session->isAlternateScreen());
  print("\x1b[?1049l\x1b[?1049h\x1b[?1049l");
  EXPECT_FALSE(session->isAlternateScreen());
}

TEST_F(PTYSessionTest, clampsASizeToTheLimitsOfATerminal) {
  spawn();
  session->resize(-5, -70'000);
  session->resize(70'000, 65'535);
  session->resize(INT64_MAX, INT64_MIN);
  scheduler.advance(1s);
  using Size = std::pair<std::uint16_t, std::uint16_t>;
  EXPECT_EQ(child().sizes, (std::vector<Size>{{0, 0}, {65'535, 65'535}, {65'535, 0}}));
  EXPECT_EQ(child().written, "");
}

TEST_F(PTYSessionTest, asksAFullScreenProgramToRepaintShortlyAfterAResize) {
  spawn();
  print("\x1b[?1049h");
  session->resize(80, 24);
  scheduler.advance(49ms);
  EXPECT_EQ(child().written, "");
  scheduler.advance(1ms);
  EXPECT_EQ(child().written, "\x0c");
}

TEST_F(PTYSessionTest, writesInOrderAndNothingAfterTheExit) {
  spawn();
  session->write(bytesOf("one "));
  session->write(bytesOf("two"));
  scheduler.runReady();
  EXPECT_EQ(child().written, "one two");
  child().exit(0);
  scheduler.runReady();
  session->write(bytesOf("late"));
  session->resize(1, 1);
  session->terminate();
  scheduler.advance(10s);
  EXPECT_EQ(child().written, "one two");
  EXPECT_TRUE(child().sizes.empty());
  EXPECT_EQ(child().terminations, 0);
}

TEST_F(PTYSessionTest, terminatesGentlyAndKillsThreeSecondsLater) {
  spawn();
  session->terminate();
  scheduler.advance(1s);
  session->terminate();
  EXPECT_EQ(child().terminations, 1);
  scheduler.advance(1990ms);
  EXPECT_EQ(child().terminations, 2);
  EXPECT_EQ(child().kills, 0);
  scheduler.advance(10ms);
  EXPECT_EQ(child().kills, 1);
}

TEST_F(PTYSessionTest, killsNothingThatHasExitedInTime) {
  spawn();
  session->terminate();
  scheduler.advance(1s);
  child().exit(15);
  scheduler.advance(10s);
  EXPECT_EQ(child().terminations, 1);
  EXPECT_EQ(child().kills, 0);
}

TEST_F(PTYSessionTest, reportsTheExitAndKeepsTheScrollbackReadable) {
  spawn();
  print("bye?\r\n");
  scheduler.advance(3s);
  child().exit(256);
  scheduler.runReady();
  EXPECT_EQ(session->status(), AgentStatus::exited);
  EXPECT_EQ(statuses.back(), AgentStatus::exited);
  EXPECT_EQ(attentions, (std::vector<Attention>{{"My agent", "bye?"}, {"My agent", "finished"}}));
  EXPECT_EQ(textOf(session->scrollback()), "bye?\r\n");
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST_F(PTYSessionTest, keepsTheRowWhenTheProgramClosesItsTerminalAndRunsOn) {
  spawn();
  print("ready?");
  child().closeTerminal();
  scheduler.advance(60s);
  EXPECT_EQ(session->status(), AgentStatus::waitingInput);
  EXPECT_EQ(attentions.size(), 2U);
  child().exit(0);
  scheduler.runReady();
  EXPECT_EQ(session->status(), AgentStatus::exited);
}

TEST_F(PTYSessionTest, stopsByItselfWhenItIsDropped) {
  spawn();
  session->terminate();
  print("x?");
  session.reset();
  EXPECT_TRUE(child().isReleased);
  scheduler.advance(60s);
  EXPECT_TRUE(statuses.empty());
  EXPECT_EQ(child().kills, 0);
}

TEST_F(PTYSessionTest, survivesAMillionBells) {
  spawn();
  print(std::string(1'000'000, '\x07'));
  scheduler.advance(5s);
  EXPECT_EQ(output.size(), 1'000'000U);
  EXPECT_EQ(attentions, std::vector{Attention("My agent", "waiting for input")});
}

}  // namespace
}  // namespace quorl
