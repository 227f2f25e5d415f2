// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Power/SystemControl.h>

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Power/PowerAssertionGroup.h>
#include <Support/FakeSystemPower.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SystemControlTest : public testing::Test {
 protected:
  void send(const SystemCommand& command) {
    control->handle(command);
    simulation.runReady();
  }
  void caffeinate(bool on) { send(systemCommand::Caffeinate{on}); }

  LogRecorder log;
  SimulatedScheduler simulation;
  std::shared_ptr<FakeSystemPower> machine = std::make_shared<FakeSystemPower>();
  std::shared_ptr<SystemControl> control =
      std::make_shared<SystemControl>(simulation, SystemControl::Ports{machine, machine, machine, machine});
};

TEST_F(SystemControlTest, clampsAndRoundsTheVolume) {
  for (const double value : {1.7, -0.2, 0.444, 0.5, 0.995}) send(systemCommand::SetVolume{value});
  EXPECT_THAT(machine->calls, ElementsAre("volume 100", "volume 0", "volume 44", "volume 50", "volume 100"));
}

TEST_F(SystemControlTest, survivesAbsurdVolumes) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(volumePercent(infinity), 100);
  EXPECT_EQ(volumePercent(-infinity), 0);
  EXPECT_EQ(volumePercent(std::numeric_limits<double>::quiet_NaN()), 0);
  EXPECT_EQ(volumePercent(1e300), 100);
}

TEST_F(SystemControlTest, createsOnePairOfAssertionsForTwoCommands) {
  caffeinate(true);
  caffeinate(true);
  EXPECT_THAT(machine->calls, ElementsAre("system Quorl session active", "display Quorl session active"));
  EXPECT_EQ(log.count("caffeinate on"), 1U);
  EXPECT_TRUE(control->isCaffeinated());
}

TEST_F(SystemControlTest, releasesBothAssertionsAndLogsIt) {
  caffeinate(false);
  EXPECT_THAT(machine->calls, IsEmpty());
  caffeinate(true);
  caffeinate(false);
  caffeinate(false);
  EXPECT_THAT(machine->held, IsEmpty());
  EXPECT_TRUE(log.has(LogLevel::info, "app", "caffeinate off"));
  EXPECT_EQ(log.count("caffeinate off"), 1U);
}

TEST_F(SystemControlTest, holdsOneUserActivityAfterTwoWakes) {
  send(systemCommand::WakeDisplays{});
  send(systemCommand::WakeDisplays{});
  EXPECT_THAT(machine->calls,
              ElementsAre("activity Quorl remote wake", "release 1", "activity Quorl remote wake"));
  EXPECT_THAT(machine->held, SizeIs(1));
}

TEST_F(SystemControlTest, releasesNothingAfterAWakeThatFailed) {
  machine->isAble = false;
  send(systemCommand::WakeDisplays{});
  send(systemCommand::WakeDisplays{});
  EXPECT_THAT(machine->calls, ElementsAre("activity Quorl remote wake", "activity Quorl remote wake"));
}

TEST_F(SystemControlTest, doesNotReleaseAssertionsThatWereNotCreated) {
  machine->isAble = false;
  caffeinate(true);
  caffeinate(false);
  EXPECT_THAT(machine->calls, SizeIs(2));
}

TEST_F(SystemControlTest, createsNewAssertionsAfterReleaseAll) {
  caffeinate(true);
  send(systemCommand::WakeDisplays{});
  EXPECT_THAT(machine->held, SizeIs(3));
  control->releaseAll();
  EXPECT_THAT(machine->held, IsEmpty());
  EXPECT_FALSE(control->isCaffeinated());
  machine->calls.clear();
  caffeinate(true);
  EXPECT_THAT(machine->calls, ElementsAre("system Quorl session active", "display Quorl session active"));
}

TEST_F(SystemControlTest, releaseAllFollowsTheCommandsBeforeIt) {
  control->handle(systemCommand::Caffeinate{true});
  control->releaseAll();
  simulation.runReady();
  EXPECT_THAT(machine->calls, SizeIs(4));
  EXPECT_THAT(machine->held, IsEmpty());
}

TEST_F(SystemControlTest, carriesOutCommandsInTheOrderOfArrival) {
  control->handle(systemCommand::SetVolume{0.1});
  control->handle(systemCommand::SleepDisplays{});
  control->handle(systemCommand::LockScreen{});
  control->handle(systemCommand::SetVolume{0.2});
  simulation.runReady();
  EXPECT_THAT(machine->calls, ElementsAre("volume 10", "sleepDisplays", "lock", "volume 20"));
}

TEST_F(SystemControlTest, dropsCommandsThatPileUp) {
  for (int i = 0; i < SystemControl::mostWaiting + 5; ++i) control->handle(systemCommand::LockScreen{});
  simulation.runReady();
  EXPECT_THAT(machine->calls, SizeIs(SystemControl::mostWaiting));
  EXPECT_EQ(log.count("a system command was dropped: too many wait for the system"), 5U);
  send(systemCommand::LockScreen{});
  EXPECT_THAT(machine->calls, SizeIs(SystemControl::mostWaiting + 1));
}

TEST_F(SystemControlTest, logsAToolThatCannotBeLaunched) {
  machine->failure = SystemFailure{"/usr/bin/osascript", "no such file"};
  send(systemCommand::SetVolume{0.5});
  EXPECT_TRUE(log.has(LogLevel::error, "app", "system command failed (/usr/bin/osascript): no such file"));
}

TEST_F(SystemControlTest, logsCommandsThatThePlatformLacks) {
  control = std::make_shared<SystemControl>(simulation, SystemControl::Ports{});
  send(systemCommand::SetVolume{0.5});
  send(systemCommand::SleepDisplays{});
  send(systemCommand::LockScreen{});
  send(systemCommand::WakeDisplays{});
  caffeinate(true);
  caffeinate(false);
  for (const auto* command : {"setVolume", "sleepDisplays", "lockScreen"})
    EXPECT_EQ(log.count("system command failed (" + std::string(command) + "): not available on this system"),
              1U);
}

class PowerAssertionGroupTest : public testing::Test {
 protected:
  LogRecorder log;
  std::shared_ptr<FakeSystemPower> first = std::make_shared<FakeSystemPower>();
  std::shared_ptr<FakeSystemPower> second = std::make_shared<FakeSystemPower>();
  PowerAssertionGroup group{{first, second}};
};

TEST_F(PowerAssertionGroupTest, holdsAnAssertionOfEachMember) {
  const auto assertion = group.create(PowerAssertion::preventIdleDisplaySleep, "name");
  EXPECT_NE(assertion, PowerAssertions::none);
  EXPECT_THAT(first->calls, ElementsAre("display name"));
  EXPECT_THAT(second->held, SizeIs(1));
  group.release(assertion);
  group.release(assertion);
  EXPECT_THAT(first->held, IsEmpty());
  EXPECT_THAT(second->calls, ElementsAre("display name", "release 1"));
}

TEST_F(PowerAssertionGroupTest, isContentWithOneMember) {
  first->isAble = false;
  const auto assertion = group.declareUserActivity("name");
  EXPECT_NE(assertion, PowerAssertions::none);
  EXPECT_THAT(log.lines(), IsEmpty());
  group.release(assertion);
  EXPECT_THAT(first->calls, ElementsAre("activity name"));
}

TEST_F(PowerAssertionGroupTest, logsWhatNoMemberCanDo) {
  first->isAble = second->isAble = false;
  EXPECT_EQ(group.create(PowerAssertion::preventIdleSystemSleep, "name"), PowerAssertions::none);
  EXPECT_TRUE(log.has(LogLevel::error, "app", "this system offers no way to keep the machine awake"));
}

}  // namespace
}  // namespace quorl::test
