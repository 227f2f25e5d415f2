// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostStateFixture.h"

namespace quorl::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::IsEmpty;

class HostStateProviderTest : public HostStateFixture {};

// The state on request

TEST_F(HostStateProviderTest, reportsDisplaysWindowsApplicationsAndMetrics) {
  platform_.displays->known[1] = {
      .bounds = {{0, 0}, {1920, 1080}}, .mode = {}, .name = "Desk", .isMain = true};
  askAndRun();
  ASSERT_EQ(answers_.size(), 1U);
  const HostState& state = answers_[0];
  EXPECT_EQ(state.displays, (std::vector<DisplayInfo>{{1, "Desk", 1920, 1080, 1.0, true}}));
  ASSERT_EQ(state.windows.size(), 1U);
  EXPECT_EQ(state.windows[0],
            (WindowInfo{3, "document", "org.example.editor", "Editor", {{0, 0}, {400, 300}}, true}));
  ASSERT_EQ(state.apps.size(), 1U);
  EXPECT_EQ(state.apps[0].windowCount, 1);
  EXPECT_EQ(state.metrics.memoryTotalBytes, 8'000'000'000U);
  EXPECT_EQ(state.metrics.thermalState, 1);
}

TEST_F(HostStateProviderTest, numbersContentsAnewWhenMoreThanTheMetricsChanges) {
  startWithAudience();
  simulation_.advance(seconds(10));  // the second state has the icon
  platform_.metrics->memoryUsed += 1'000;
  simulation_.advance(seconds(5));
  platform_.screen->content->windows[0].title = "another document";
  simulation_.advance(seconds(5));
  ASSERT_EQ(contents_.size(), 4U);
  EXPECT_EQ(contents_[0], 1U);
  EXPECT_EQ(contents_[1], 2U);
  EXPECT_EQ(contents_[2], 2U);
  EXPECT_NE(states_[2].metrics, states_[1].metrics);
  EXPECT_EQ(contents_[3], 3U);
}

TEST_F(HostStateProviderTest, asksForTheRegularApplicationsAtEachState) {
  platform_.runningApplications->regular.clear();
  askAndRun();
  platform_.runningApplications->regular.insert(10);
  askAndRun();
  EXPECT_THAT(answers_.at(0).windows, IsEmpty());
  EXPECT_THAT(answers_.at(0).apps, IsEmpty());
  EXPECT_EQ(answers_.at(1).windows.size(), 1U);
}

TEST_F(HostStateProviderTest, dropsContentThatArrivesAfterTheLimit) {
  platform_.screen->holdsContentAnswers = true;
  askAndRun();
  simulation_.advance(milliseconds(1499));
  EXPECT_THAT(answers_, IsEmpty());
  simulation_.advance(milliseconds(1));
  ASSERT_EQ(answers_.size(), 1U);
  platform_.screen->releaseContentAnswers();
  simulation_.advance(seconds(5));
  EXPECT_EQ(answers_.size(), 1U);
  EXPECT_THAT(answers_[0].windows, IsEmpty());
  EXPECT_EQ(platform_.runningApplications->queries, 0) << "late content costs no work";
}

TEST_F(HostStateProviderTest, hasDisplaysAndMetricsButNoWindowsAfterTheLimit) {
  platform_.screen->holdsContentAnswers = true;
  platform_.displays->active = {9};
  platform_.displays->known[9] = {.bounds = {{0, 0}, {800, 600}}, .mode = {}, .name = "Desk"};
  askAndRun();
  simulation_.advance(milliseconds(1500));
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].displays, (std::vector<DisplayInfo>{{9, "Desk", 800, 600, 1.0, false}}));
  EXPECT_THAT(answers_[0].windows, IsEmpty());
  EXPECT_THAT(answers_[0].apps, IsEmpty());
  EXPECT_EQ(answers_[0].metrics.memoryUsedBytes, 3'000'000'000U);
}

TEST_F(HostStateProviderTest, answersWithinTheLimitWhenTheListOfApplicationsIsSlow) {
  // The list answers only after the limit: virtual time passes while it is read.
  class SlowList : public FakeRunningApplications {
   public:
    explicit SlowList(SimulatedScheduler& scheduler) : scheduler_(scheduler) {}
    std::set<std::int32_t> regularApplications() override {
      scheduler_.advance(seconds(10));
      return regular;
    }

   private:
    SimulatedScheduler& scheduler_;
  };
  const auto slow = std::make_shared<SlowList>(simulation_);
  platform_.runningApplications = slow;
  provider_ = std::make_shared<HostStateProvider>(platform_.platform());
  std::optional<MonotonicTime> answeredAt;
  const MonotonicTime begin = simulation_.now();
  provider_->buildState([&](const HostState& state) {
    EXPECT_FALSE(answeredAt) << "answered once";
    answeredAt = simulation_.now();
    EXPECT_THAT(state.windows, IsEmpty());
  });
  simulation_.runReady();
  ASSERT_TRUE(answeredAt);
  EXPECT_EQ(*answeredAt - begin, Duration(HostStateProvider::enumerationLimit));
  EXPECT_THAT(slow->renders, IsEmpty()) << "the late list costs no work";
}

TEST_F(HostStateProviderTest, answersOnceEvenIfTheLimitPassesLater) {
  askAndRun();
  simulation_.advance(seconds(5));
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].windows.size(), 1U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(HostStateProviderTest, neverWithholdsTheStateWhenThePlatformFails) {
  platform_.screen->content = std::unexpected(PortError{"no permission", 1});
  platform_.displays->online = {4};
  platform_.displays->known[4] = {.bounds = {{0, 0}, {640, 480}}, .mode = {}};
  askAndRun();
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].displays.at(0).name, "Display 4");
  EXPECT_EQ(answers_[0].metrics.uptimeSeconds, 3600.5);
  EXPECT_THAT(answers_[0].windows, IsEmpty());
  EXPECT_TRUE(log_.has(LogLevel::error, "app", "shareable content failed: no permission"));
}

TEST_F(HostStateProviderTest, needsOnlyTheScreen) {
  Platform platform = platform_.platform();
  platform.displays = nullptr;
  platform.runningApplications = nullptr;
  platform.metrics = nullptr;
  provider_ = std::make_shared<HostStateProvider>(platform);
  askAndRun();
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].displays.size(), 1U);
  EXPECT_EQ(answers_[0].windows.size(), 1U);
  EXPECT_EQ(answers_[0].metrics, SystemMetrics{});
}

TEST_F(HostStateProviderTest, isBuiltBeforeTheStartAndAfterTheStop) {
  askAndRun();
  provider_->start();
  provider_->stop();
  askAndRun();
  EXPECT_EQ(answers_.size(), 2U);
}

TEST_F(HostStateProviderTest, sharesOneEnumerationAmongRequestsOfTheSameMoment) {
  for (int count = 0; count < 8; ++count) ask();
  simulation_.runReady();
  EXPECT_EQ(answers_.size(), 8U);
  EXPECT_EQ(platform_.screen->contentQueries(), 1U);
}

TEST_F(HostStateProviderTest, enumeratesAgainForARequestDuringAnEnumeration) {
  platform_.screen->holdsContentAnswers = true;
  askAndRun();
  askAndRun();
  EXPECT_EQ(platform_.screen->contentQueries(), 2U) << "the content may have changed since the first request";
  platform_.screen->releaseContentAnswers();
  simulation_.runReady();
  EXPECT_EQ(answers_.size(), 2U);
}

// The periodic reports

TEST_F(HostStateProviderTest, broadcastsTheStateEvery5SecondsAndMetricsEvery2) {
  startWithAudience();
  simulation_.advance(milliseconds(1999));
  EXPECT_THAT(metrics_, IsEmpty());
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(metrics_.size(), 1U);
  simulation_.advance(milliseconds(2999));
  EXPECT_EQ(metrics_.size(), 2U);
  EXPECT_THAT(states_, IsEmpty());
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(states_.size(), 1U);
  simulation_.advance(seconds(55));
  EXPECT_EQ(states_.size(), 12U) << "unchanged states are broadcast too";
  EXPECT_EQ(metrics_.size(), 30U);
}

TEST_F(HostStateProviderTest, broadcastsTheStateWithoutWindowsWhenTheEnumerationIsSlow) {
  platform_.screen->holdsContentAnswers = true;
  startWithAudience();
  simulation_.advance(milliseconds(6499));
  EXPECT_THAT(states_, IsEmpty());
  simulation_.advance(milliseconds(1));
  ASSERT_EQ(states_.size(), 1U);
  EXPECT_THAT(states_[0].windows, IsEmpty());
}

TEST_F(HostStateProviderTest, doesNothingWithoutAnAudience) {
  provider_->start();
  simulation_.runReady();
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
  simulation_.advance(hours(24));
  EXPECT_EQ(platform_.screen->contentQueries(), 0U);
  EXPECT_EQ(platform_.metrics->samples, 0);
  EXPECT_THAT(states_, IsEmpty());
}

TEST_F(HostStateProviderTest, rendersNoIconWithoutAnAudience) {
  provider_->start();
  simulation_.advance(hours(1));
  EXPECT_THAT(platform_.runningApplications->renders, IsEmpty());
}

TEST_F(HostStateProviderTest, stopsItsTimersWhenTheAudienceLeavesAndResumesWhenItReturns) {
  startWithAudience();
  simulation_.advance(seconds(10));
  provider_->setAudience(Audience::absent);
  simulation_.runReady();
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
  const auto states = states_.size();
  simulation_.advance(hours(1));
  EXPECT_EQ(states_.size(), states);
  metrics_.clear();
  provider_->setAudience(Audience::present);
  simulation_.advance(seconds(2));
  EXPECT_EQ(metrics_.size(), 1U) << "metrics arrive within 2 s";
}

TEST_F(HostStateProviderTest, keepsItsRhythmWhenTheAudienceIsReportedTwice) {
  startWithAudience();
  simulation_.advance(milliseconds(1900));
  provider_->setAudience(Audience::present);
  simulation_.advance(milliseconds(100));
  EXPECT_EQ(metrics_.size(), 1U);
}

TEST_F(HostStateProviderTest, broadcastsNothingBeforeTheStart) {
  provider_->setAudience(Audience::present);
  simulation_.advance(hours(1));
  EXPECT_THAT(metrics_, IsEmpty());
  EXPECT_THAT(states_, IsEmpty());
}

TEST_F(HostStateProviderTest, broadcastsNothingAfterTheStop) {
  startWithAudience();
  simulation_.advance(seconds(5));
  platform_.screen->holdsContentAnswers = true;
  simulation_.advance(seconds(5));
  const auto states = states_.size();
  provider_->stop();
  platform_.screen->releaseContentAnswers();
  simulation_.advance(hours(1));
  EXPECT_EQ(states_.size(), states) << "an enumeration that was under way is dropped too";
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(HostStateProviderTest, leavesNoTimerAfterItsEnd) {
  startWithAudience();
  platform_.screen->holdsContentAnswers = true;
  askAndRun();
  const std::weak_ptr<HostStateProvider> weak = provider_;
  provider_.reset();
  EXPECT_TRUE(weak.expired());
  platform_.screen->releaseContentAnswers();
  simulation_.advance(seconds(5));
  EXPECT_THAT(answers_, IsEmpty());
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
