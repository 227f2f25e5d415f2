// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/LinkMachine.h>

#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using client::ExitCode;
using State = LinkStatus::State;
using namespace std::chrono_literals;

const ClientError broken{ExitCode::failure, "the host closed the connection", {}};
const ClientError unpaired{ExitCode::refused, "desk no longer accepts this client's pairing", {}};

// A link whose time passes only in the test.
class LinkMachineTest : public testing::Test {
 protected:
  void connect() {
    machine_.start(now_);
    machine_.connected(now_);
  }
  // Runs every tick that is due until `duration` has passed, and returns the sum of their actions.
  LinkMachine::Actions pass(Clock::duration duration) {
    LinkMachine::Actions sum;
    const auto end = now_ + duration;
    while (machine_.due() && *machine_.due() <= end) {
      now_ = std::max(now_, *machine_.due());
      const auto actions = machine_.tick(now_);
      ++ticks_;
      probes_ += actions.probes ? 1 : 0;
      attempts_ += actions.connects ? 1 : 0;
      sum.connects |= actions.connects;
      sum.disconnects |= actions.disconnects;
      sum.probes |= actions.probes;
      sum.reports |= actions.reports;
      if (actions.connects && failsAttempts_) machine_.failed(broken, now_);
    }
    now_ = end;
    return sum;
  }
  State state() const { return machine_.status().state; }

  LinkMachine machine_;
  Clock::time_point now_{std::chrono::hours(1)};
  int ticks_ = 0;
  int probes_ = 0;
  int attempts_ = 0;
  bool failsAttempts_ = false;
};

TEST_F(LinkMachineTest, asksOnlyAfterASilence) {
  connect();
  for (int second = 0; second < 60; ++second) {
    EXPECT_FALSE(pass(1s).probes);
    machine_.heard(now_);
  }
  EXPECT_TRUE(pass(LinkMachine::askAfter).probes);
}

TEST_F(LinkMachineTest, asksSoonerAfterSomethingWasSent) {
  connect();
  machine_.sent(now_);
  EXPECT_FALSE(pass(LinkMachine::askAfterSending - 1ms).probes);
  EXPECT_TRUE(pass(1ms).probes);
}

TEST_F(LinkMachineTest, doesNotStallWhileTheHostAnswersButSendsNoPictures) {
  connect();
  for (int beat = 0; beat < 20; ++beat) {
    pass(LinkMachine::askAfter);
    pass(LinkMachine::stallAfter - 1ms);
    machine_.heard(now_);
    EXPECT_EQ(state(), State::connected);
  }
  EXPECT_EQ(probes_, 20);
}

TEST_F(LinkMachineTest, isStalledAfterTwoSecondsWithoutAnAnswerAndCountsFromTheLastSign) {
  connect();
  const auto lastSign = now_;
  pass(LinkMachine::askAfter + LinkMachine::stallAfter - 1ms);
  EXPECT_EQ(state(), State::connected);
  EXPECT_TRUE(pass(1ms).reports);
  EXPECT_EQ(state(), State::stalled);
  EXPECT_EQ(machine_.status().since, lastSign);
}

TEST_F(LinkMachineTest, isConnectedAgainWithTheFirstByte) {
  connect();
  pass(LinkMachine::askAfter + LinkMachine::stallAfter);
  ASSERT_EQ(state(), State::stalled);
  EXPECT_TRUE(machine_.heard(now_).reports);
  EXPECT_EQ(state(), State::connected);
}

TEST_F(LinkMachineTest, givesUpALongSilenceAndConnectsAgain) {
  connect();
  const auto actions = pass(LinkMachine::giveUpAfter);
  EXPECT_TRUE(actions.disconnects);
  EXPECT_EQ(state(), State::waiting);
  ASSERT_TRUE(machine_.status().reason);
  EXPECT_FALSE(machine_.status().reason->advice.empty());
  EXPECT_TRUE(pass(LinkMachine::firstDelay).connects);
  EXPECT_EQ(state(), State::connecting);
}

TEST_F(LinkMachineTest, waitsOneTwoFourUpToThirtySeconds) {
  connect();
  machine_.failed(broken, now_);
  for (const auto delay : {1s, 2s, 4s, 8s, 16s, 30s, 30s, 30s}) {
    ASSERT_EQ(state(), State::waiting);
    EXPECT_EQ(machine_.status().retryAt - now_, delay);
    EXPECT_FALSE(pass(delay - 1ms).connects);
    EXPECT_TRUE(pass(1ms).connects);
    machine_.failed(broken, now_);
  }
}

TEST_F(LinkMachineTest, startsAgainWithOneSecondAfterAStableConnection) {
  connect();
  machine_.failed(broken, now_);
  pass(1s);
  machine_.connected(now_);
  machine_.failed(broken, now_);
  EXPECT_EQ(machine_.status().retryAt - now_, 2s);
  pass(2s);
  machine_.connected(now_);
  now_ += LinkMachine::stable;
  machine_.failed(broken, now_);
  EXPECT_EQ(machine_.status().retryAt - now_, 1s);
}

TEST_F(LinkMachineTest, startsAgainWithTwoSecondsAfterAShortConnection) {
  connect();
  for (int attempt = 0; attempt < 6; ++attempt) {
    machine_.failed(broken, now_);
    pass(30s);
  }
  machine_.connected(now_);
  machine_.failed(broken, now_);
  EXPECT_EQ(machine_.status().retryAt - now_, 2s);
}

TEST_F(LinkMachineTest, connectsAtOnceOnRequestWhileItWaits) {
  connect();
  machine_.failed(broken, now_);
  EXPECT_FALSE(machine_.isByHand());
  EXPECT_TRUE(machine_.reconnectNow(now_).connects);
  EXPECT_TRUE(machine_.isByHand());
  EXPECT_FALSE(machine_.reconnectNow(now_).connects);
}

TEST_F(LinkMachineTest, replacesAStalledConnectionOnRequest) {
  connect();
  pass(LinkMachine::askAfter + LinkMachine::stallAfter);
  const auto actions = machine_.reconnectNow(now_);
  EXPECT_TRUE(actions.connects);
  EXPECT_TRUE(actions.disconnects);
}

TEST_F(LinkMachineTest, doesNothingAfterACancelUntilTheNextRequest) {
  connect();
  machine_.failed(broken, now_);
  machine_.cancel(now_);
  EXPECT_EQ(state(), State::stopped);
  EXPECT_FALSE(machine_.status().reason);
  EXPECT_EQ(machine_.due(), std::nullopt);
  pass(1h);
  EXPECT_EQ(attempts_, 0);
  EXPECT_TRUE(machine_.reconnectNow(now_).connects);
}

TEST_F(LinkMachineTest, stopsWhenTheHostNoLongerAcceptsThePairing) {
  connect();
  machine_.failed(broken, now_);
  pass(1s);
  ASSERT_EQ(state(), State::connecting);
  machine_.failed(unpaired, now_);
  EXPECT_EQ(state(), State::stopped);
  EXPECT_EQ(machine_.status().reason->what, unpaired.what);
  failsAttempts_ = true;
  pass(1h);
  EXPECT_EQ(attempts_, 1);
}

TEST_F(LinkMachineTest, triesOncePerDelayAndNotMore) {
  connect();
  failsAttempts_ = true;
  machine_.failed(broken, now_);
  pass(10min);
  // 1 + 2 + 4 + 8 + 16 seconds, then every 30.
  EXPECT_EQ(attempts_, 5 + (600 - 31) / 30);
}

TEST_F(LinkMachineTest, asksAtOnceAfterTheComputerHasSlept) {
  connect();
  EXPECT_TRUE(machine_.resumed(now_).probes);
  EXPECT_EQ(state(), State::connected);
  EXPECT_TRUE(pass(LinkMachine::giveUpAfterSleep).disconnects);
  EXPECT_EQ(state(), State::waiting);
}

TEST_F(LinkMachineTest, keepsAConnectionThatHasSurvivedTheSleep) {
  connect();
  machine_.resumed(now_);
  now_ += 100ms;
  machine_.heard(now_);
  EXPECT_FALSE(pass(LinkMachine::giveUpAfterSleep - 500ms).disconnects);
  EXPECT_EQ(state(), State::connected);
}

TEST_F(LinkMachineTest, doesNotWaitOutADelayAfterTheComputerHasSlept) {
  connect();
  for (int attempt = 0; attempt < 6; ++attempt) {
    machine_.failed(broken, now_);
    pass(30s);
  }
  machine_.failed(broken, now_);
  EXPECT_TRUE(machine_.resumed(now_).connects);
}

TEST_F(LinkMachineTest, triesSoonAfterTheNetworkHasCome) {
  connect();
  for (int attempt = 0; attempt < 6; ++attempt) {
    machine_.failed(broken, now_);
    pass(30s);
  }
  machine_.failed(broken, now_);
  EXPECT_TRUE(machine_.networkGained(now_).reports);
  now_ += 100ms;
  EXPECT_FALSE(machine_.networkGained(now_).reports) << "the rest of a group delays nothing";
  EXPECT_TRUE(pass(LinkMachine::afterNetworkGain - 100ms).connects);
  machine_.failed(broken, now_);
  EXPECT_EQ(machine_.status().retryAt - now_, 1s);
}

TEST_F(LinkMachineTest, asksOnceWhenTheNetworkOfAConnectionChanges) {
  connect();
  EXPECT_TRUE(machine_.networkGained(now_).probes);
  EXPECT_FALSE(machine_.networkGained(now_).probes);
  EXPECT_FALSE(pass(LinkMachine::giveUpAfterSleep).disconnects) << "a slow link has its usual patience";
  machine_.heard(now_);
  EXPECT_EQ(state(), State::connected);
}

TEST_F(LinkMachineTest, ticksAsOftenAsItAsksAndNotMore) {
  connect();
  for (int beat = 0; beat < 100; ++beat) {
    pass(LinkMachine::askAfter);
    machine_.heard(now_);
  }
  EXPECT_EQ(ticks_, 100);
  EXPECT_EQ(probes_, 100);
}

}  // namespace
}  // namespace quorl::viewer
