// SPDX-License-Identifier: GPL-3.0-or-later
// The real host reports its state and the load of this machine without being asked.
#include <sys/sysinfo.h>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>

namespace quorl::test {
namespace {

class HostStatePushTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(host.listens()) << host.program().output(); }

  TemporaryFolder home;
  const std::uint16_t port = freePort();
  HostProcess host{{.port = port, .home = home.path(), .options = {"--pin", "314159"}}};
};

TEST_F(HostStatePushTest, sendsMetricsOfThisMachineToAClientThatAsksForNothing) {
  RawClient client(port);
  ASSERT_TRUE(client.pair("314159"));
  struct sysinfo facts{};
  ASSERT_EQ(::sysinfo(&facts), 0);
  double lastUptime = 0;
  for (int count = 0; count < 2; ++count) {
    const auto pushed = client.next<message::Metrics>();
    ASSERT_TRUE(pushed);
    const SystemMetrics& metrics = pushed->_0;
    EXPECT_EQ(metrics.memoryTotalBytes, static_cast<std::uint64_t>(facts.totalram) * facts.mem_unit);
    EXPECT_GT(metrics.memoryUsedBytes, 0U);
    EXPECT_GE(metrics.cpuUsage, 0.0);
    EXPECT_LE(metrics.cpuUsage, 1.0);
    EXPECT_GT(metrics.uptimeSeconds, lastUptime + (count == 0 ? 0 : 1))
        << "two seconds lie between two reports";
    lastUptime = metrics.uptimeSeconds;
  }
}

TEST_F(HostStatePushTest, sendsTheStateAtOnceAndAgainWithoutARequest) {
  RawClient client(port);
  ASSERT_TRUE(client.pair("314159"));
  for (int count = 0; count < 2; ++count) {
    const auto pushed = client.next<message::HostState>();
    ASSERT_TRUE(pushed);
    EXPECT_TRUE(pushed->_0.displays.empty()) << "the host runs without a display";
    EXPECT_GT(pushed->_0.metrics.memoryTotalBytes, 0U);
  }
}

}  // namespace
}  // namespace quorl::test
