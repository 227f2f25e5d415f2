// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gtest/gtest.h>

#include <QuorlHostCore/HostState/SystemMetricsSampler.h>
#include <Support/FakeMachineMetrics.h>

namespace quorl::test {
namespace {

using Ticks = std::vector<std::uint32_t>;

class SystemMetricsSamplerTest : public testing::Test {
 protected:
  double usageAt(Ticks ticks) {
    metrics_->ticks = std::move(ticks);
    return sampler_.sample().cpuUsage;
  }

  std::shared_ptr<FakeMachineMetrics> metrics_ = std::make_shared<FakeMachineMetrics>();
  SystemMetricsSampler sampler_{metrics_};
};

TEST_F(SystemMetricsSamplerTest, reportsWhatThePortReports) {
  metrics_->thermal = MachineMetrics::ThermalState::critical;
  EXPECT_EQ(sampler_.sample(), (SystemMetrics{0.0, 3'000'000'000, 8'000'000'000, 3600.5, 3}));
}

TEST_F(SystemMetricsSamplerTest, readsZeroInTheFirstSample) {
  EXPECT_EQ(usageAt({900, 50, 50, 0}), 0.0);
}

TEST_F(SystemMetricsSamplerTest, countsUserSystemAndNiceAsBusyOverAllCores) {
  usageAt({100, 100, 100, 100, 0, 0, 0, 0});
  EXPECT_DOUBLE_EQ(usageAt({110, 120, 110, 110, 0, 0, 50, 0}), 0.4);
}

TEST_F(SystemMetricsSamplerTest, comparesWithThePreviousSampleOnly) {
  usageAt({0, 0, 0, 0});
  EXPECT_DOUBLE_EQ(usageAt({100, 0, 0, 0}), 1.0);
  EXPECT_DOUBLE_EQ(usageAt({100, 0, 100, 0}), 0.0);
}

TEST_F(SystemMetricsSamplerTest, readsTheRightDifferenceWhenACounterWraps) {
  constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  usageAt({most - 9, 5, most, 0});
  EXPECT_DOUBLE_EQ(usageAt({15, 5, 74, 0}), 0.25);  // 25 ticks busy, 75 idle
}

TEST_F(SystemMetricsSamplerTest, sumsManyCoresWithoutOverflow) {
  constexpr std::uint32_t half = 0x8000'0000;
  Ticks later;
  for (int core = 0; core < 64; ++core) later.insert(later.end(), {half, 0, half, 0});
  usageAt(Ticks(later.size(), 0));
  EXPECT_DOUBLE_EQ(usageAt(later), 0.5);
}

TEST_F(SystemMetricsSamplerTest, readsZeroOnceAfterTheCountOfCoresHasChanged) {
  usageAt({0, 0, 0, 0});
  EXPECT_EQ(usageAt({50, 0, 50, 0, 50, 0, 50, 0}), 0.0);
  EXPECT_DOUBLE_EQ(usageAt({150, 0, 50, 0, 50, 0, 150, 0}), 0.5);
}

TEST_F(SystemMetricsSamplerTest, readsZeroWhenNoTimeHasPassed) {
  usageAt({10, 10, 10, 10});
  EXPECT_EQ(usageAt({10, 10, 10, 10}), 0.0);
}

TEST_F(SystemMetricsSamplerTest, keepsThePreviousTicksOverAFailedReading) {
  usageAt({0, 0, 0, 0});
  EXPECT_EQ(usageAt({}), 0.0);
  EXPECT_DOUBLE_EQ(usageAt({30, 0, 70, 0}), 0.3);
}

TEST_F(SystemMetricsSamplerTest, reportsZeroesWithoutAPort) {
  EXPECT_EQ(SystemMetricsSampler(nullptr).sample(), SystemMetrics{});
}

TEST_F(SystemMetricsSamplerTest, reportsAnUptimeThatIsNoNumberAsZero) {
  metrics_->uptime = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(sampler_.sample().uptimeSeconds, 0.0);
}

}  // namespace
}  // namespace quorl::test
