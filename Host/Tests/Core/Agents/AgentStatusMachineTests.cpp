// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Attention/AgentStatusMachine.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace quorl {
namespace {

using namespace std::chrono_literals;

constexpr MonotonicTime start = MonotonicTime(1000s);

class StatusMachine : public testing::Test {
 protected:
  AgentStatusMachine::Actions print(std::string_view text, Duration at) {
    screen += text;
    return machine.receiveOutput(viewOf(text), start + at);
  }
  AgentStatusMachine::Actions tick(Duration at) { return machine.tick(viewOf(screen), start + at); }

  AgentStatusMachine machine{AgentAdapter::generic, start};
  std::string screen;
};

TEST_F(StatusMachine, beginsRunning) {
  EXPECT_EQ(machine.status(), AgentStatus::running);
  EXPECT_EQ(machine.nextTick(), start + 2s);
}

TEST_F(StatusMachine, staysRunningUnderTwoSecondsOfSilenceAndIsIdleFromThenOn) {
  EXPECT_FALSE(tick(1s).statusChange.has_value());
  EXPECT_FALSE(tick(2s - 1ns).statusChange.has_value());
  EXPECT_EQ(tick(2s).statusChange, AgentStatus::idle);
  EXPECT_FALSE(tick(3s).statusChange.has_value());
}

TEST_F(StatusMachine, isRunningAtOnceAfterOutput) {
  tick(2s);
  EXPECT_EQ(print("x", 2500ms).statusChange, AgentStatus::running);
  EXPECT_FALSE(print("x", 2600ms).statusChange.has_value());
}

TEST_F(StatusMachine, waitsOnlyWhenSilentEvenIfABellRangBefore) {
  print("\x07", 0s);
  for (int second = 1; second <= 60; ++second) {
    print("line\n", second * 1s - 500ms);
    EXPECT_FALSE(tick(second * 1s).statusChange.has_value());
    EXPECT_EQ(machine.status(), AgentStatus::running);
  }
  tick(61s);
  const auto actions = tick(62s);
  EXPECT_EQ(actions.statusChange, AgentStatus::waitingInput);
  EXPECT_EQ(actions.attentionBody, "line");
}

TEST_F(StatusMachine, isIdleAtTheTickAfterAnAttentionHasConsumedTheBell) {
  print("done\n\x07", 0s);
  EXPECT_EQ(tick(2s).statusChange, AgentStatus::waitingInput);
  const auto next = tick(3s);
  EXPECT_EQ(next.statusChange, AgentStatus::idle);
  EXPECT_FALSE(next.attentionBody.has_value());
}

TEST_F(StatusMachine, keepsABellThatRangInTheQuietPeriodUntilItIsOver) {
  print("\x07", 0s);
  EXPECT_TRUE(tick(2s).attentionBody.has_value());
  print("\x07", 5s);
  for (int second = 7; second < 32; ++second) {
    EXPECT_FALSE(tick(second * 1s).attentionBody.has_value()) << second;
    EXPECT_EQ(machine.status(), AgentStatus::waitingInput) << second;
  }
  EXPECT_TRUE(tick(32s).attentionBody.has_value());
  EXPECT_EQ(tick(33s).statusChange, AgentStatus::idle);
}

TEST_F(StatusMachine, notifiesOfAQuestionOnceAndThenEveryThirtySeconds) {
  print("  Do you want to proceed \r\n", 0s);
  int attentions = 0;
  for (int second = 1; second <= 300; ++second) {
    const auto actions = tick(second * 1s);
    if (!actions.attentionBody) continue;
    EXPECT_EQ(second, 2 + 30 * attentions);
    EXPECT_EQ(actions.attentionBody, "Do you want to proceed");
    ++attentions;
  }
  EXPECT_EQ(attentions, 10);
}

TEST_F(StatusMachine, hasAFixedBodyForAScreenOfSequencesOnly) {
  print("\x1b[2J\x1b[H\x07", 0s);
  EXPECT_EQ(tick(2s).attentionBody, "waiting for input");
}

TEST_F(StatusMachine, notifiesOfTheExitAtOnceAndOnlyOnce) {
  print("password?", 0s);
  EXPECT_TRUE(tick(2s).attentionBody.has_value());
  const auto exit = machine.exit();
  EXPECT_EQ(exit.statusChange, AgentStatus::exited);
  EXPECT_EQ(exit.attentionBody, "finished");
  EXPECT_FALSE(machine.exit().attentionBody.has_value());
  EXPECT_FALSE(tick(60s).statusChange.has_value());
  EXPECT_FALSE(print("late", 61s).statusChange.has_value());
  EXPECT_EQ(machine.nextTick(), std::nullopt);
}

TEST_F(StatusMachine, needsNoTickWhileIdle) {
  tick(2s);
  EXPECT_EQ(machine.nextTick(), std::nullopt);
  print("x", 10'300ms);
  EXPECT_EQ(machine.nextTick(), start + 13s);
}

// The events as a watcher sees them.
struct Event {
  Duration at;
  std::optional<AgentStatus> status;
  std::optional<std::string> body;
  bool operator==(const Event&) const = default;
};

void note(std::vector<Event>& events, Duration at, AgentStatusMachine::Actions actions) {
  if (actions.statusChange || actions.attentionBody)
    events.push_back({at, actions.statusChange, std::move(actions.attentionBody)});
}

// The same events, once with a tick every second and once with only the requested ticks.
TEST(AgentStatusMachine, doesTheSameWithOnlyTheTicksItAsksFor) {
  std::mt19937 random(11);
  const std::vector<std::string> texts = {"working\n", "ok? ", "\x07", "❯ ", "\x1b[2J", "Allow\n", "plain\n"};
  for (int round = 0; round < 300; ++round) {
    AgentStatusMachine every(AgentAdapter::claudeCode, start);
    AgentStatusMachine asked(AgentAdapter::claudeCode, start);
    std::vector<Event> everyEvents;
    std::vector<Event> askedEvents;
    std::string screen;
    int askedTicks = 0;
    Duration nextOutput = 100ms * (random() % 100);
    for (Duration at = 0s; at <= 200s; at += 100ms) {
      if (at == nextOutput) {
        const std::string& text = texts[random() % texts.size()];
        screen += text;
        note(everyEvents, at, every.receiveOutput(viewOf(text), start + at));
        note(askedEvents, at, asked.receiveOutput(viewOf(text), start + at));
        nextOutput += 100ms * (1 + random() % (random() % 3 == 0 ? 500 : 20));
      }
      if (at > 0s && at % 1s == 0s) note(everyEvents, at, every.tick(viewOf(screen), start + at));
      if (asked.nextTick() && *asked.nextTick() <= start + at) {
        note(askedEvents, at, asked.tick(viewOf(screen), start + at));
        ++askedTicks;
      }
    }
    ASSERT_EQ(everyEvents.size(), askedEvents.size()) << "round " << round;
    for (std::size_t i = 0; i < everyEvents.size(); ++i) {
      ASSERT_EQ(everyEvents[i].at, askedEvents[i].at) << "round " << round;
      ASSERT_EQ(everyEvents[i], askedEvents[i]) << "round " << round;
    }
    ASSERT_LT(askedTicks, 150);
  }
}

}  // namespace
}  // namespace quorl
