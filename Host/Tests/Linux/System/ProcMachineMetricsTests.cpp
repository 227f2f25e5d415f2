// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/System/ProcMachineMetrics.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = MachineMetrics::ThermalState;

class ProcMachineMetricsTest : public testing::Test {
 protected:
  void zone(const std::string& name, const std::string& temperature) {
    const std::string path = "sys/class/thermal/" + name + "/";
    folder_.write(path + "temp", temperature);
    folder_.write(path + "trip_point_0_type", "critical\n");
    folder_.write(path + "trip_point_0_temp", "100000\n");
  }

  TemporaryFolder folder_;
  ProcMachineMetrics metrics_{folder_.path().string()};
};

TEST_F(ProcMachineMetricsTest, ordersTheTicksAsUserSystemIdleNice) {
  folder_.write("proc/stat", "cpu 1 2 3 4\ncpu0 10 20 30 40 5 6 7 8\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(10, 43, 45, 20));
}

TEST_F(ProcMachineMetricsTest, reducesTheTicksTo32Bits) {
  folder_.write("proc/stat", "cpu0 4294967297 4294967295 4294967296 8589934595\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(1, 0, 3, 4'294'967'295U));
}

TEST_F(ProcMachineMetricsTest, neverReportsFewerIdleTicksThanBefore) {
  folder_.write("proc/stat", "cpu0 10 0 0 100 50\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(10, 0, 150, 0));
  folder_.write("proc/stat", "cpu0 11 0 0 101 40\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(11, 0, 150, 0)) << "iowait may decrease";
  folder_.write("proc/stat", "cpu0 12 0 0 120 40\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(12, 0, 160, 0));
}

TEST_F(ProcMachineMetricsTest, startsAnewWhenAProcessorIsTurnedOff) {
  folder_.write("proc/stat", "cpu0 1 0 0 100\ncpu1 1 0 0 200\n");
  metrics_.processorTicks();
  folder_.write("proc/stat", "cpu0 1 0 0 90\n");
  EXPECT_THAT(metrics_.processorTicks(), ElementsAre(1, 0, 90, 0));
}

TEST_F(ProcMachineMetricsTest, reportsZeroesWhereNothingCanBeRead) {
  EXPECT_THAT(metrics_.processorTicks(), IsEmpty());
  EXPECT_EQ(metrics_.memoryUsedBytes(), 0U);
  EXPECT_EQ(metrics_.memoryTotalBytes(), 0U);
  EXPECT_EQ(metrics_.thermalState(), State::nominal);
}

TEST_F(ProcMachineMetricsTest, readsTheMemory) {
  folder_.write("proc/meminfo", "MemTotal: 1000 kB\nMemAvailable: 600 kB\n");
  EXPECT_EQ(metrics_.memoryTotalBytes(), 1'024'000U);
  EXPECT_EQ(metrics_.memoryUsedBytes(), 409'600U);
}

TEST_F(ProcMachineMetricsTest, ignoresAFileBeyondAMebibyte) {
  folder_.write("proc/meminfo", "MemTotal: 1000 kB\n" + std::string(1'100'000, ' '));
  EXPECT_EQ(metrics_.memoryTotalBytes(), 0U);
}

TEST_F(ProcMachineMetricsTest, reportsTheHottestSensor) {
  zone("thermal_zone0", "50000");
  zone("thermal_zone1", "91000");
  EXPECT_EQ(metrics_.thermalState(), State::serious);
  folder_.write("sys/class/thermal/thermal_zone0/temp", "99000");
  EXPECT_EQ(metrics_.thermalState(), State::critical);
  folder_.write("sys/class/thermal/thermal_zone0/temp", "50000");
  folder_.write("sys/class/thermal/thermal_zone1/temp", "85000");
  EXPECT_EQ(metrics_.thermalState(), State::fair);
}

TEST_F(ProcMachineMetricsTest, findsTheSensorsAgainAfterOneHasGone) {
  zone("thermal_zone0", "50000");
  EXPECT_EQ(metrics_.thermalState(), State::nominal);
  zone("thermal_zone1", "99000");
  EXPECT_EQ(metrics_.thermalState(), State::nominal) << "new sensors are not looked for";
  std::filesystem::remove_all(folder_.path() / "sys/class/thermal/thermal_zone0");
  metrics_.thermalState();
  EXPECT_EQ(metrics_.thermalState(), State::critical);
}

TEST_F(ProcMachineMetricsTest, ignoresAnAbsurdTemperature) {
  zone("thermal_zone0", "50000");
  metrics_.thermalState();
  for (const char* text : {"", "hot\n", "2147483647\n", "-274000\n"}) {
    folder_.write("sys/class/thermal/thermal_zone0/temp", text);
    EXPECT_EQ(metrics_.thermalState(), State::nominal) << text;
  }
}

// This machine

TEST(ThisMachine, hasFourTicksForEachProcessorThatIsOn) {
  const auto ticks = ProcMachineMetrics().processorTicks();
  EXPECT_EQ(ticks.size(), static_cast<std::size_t>(::sysconf(_SC_NPROCESSORS_ONLN)) * 4);
}

TEST(ThisMachine, countsTheTicksOfABusyProgram) {
  ProcMachineMetrics metrics;
  const auto busyTicks = [&] {
    const auto ticks = metrics.processorTicks();
    std::uint64_t busy = 0;
    for (std::size_t at = 0; at < ticks.size(); ++at)
      if (at % 4 != 2) busy += ticks[at];
    return busy;
  };
  const std::uint64_t before = busyTicks();
  // 0.2 s of this thread's own processor time, however long that takes: 20 ticks of 10 ms.
  const std::clock_t begin = std::clock();
  while (std::clock() - begin < CLOCKS_PER_SEC / 5) {
  }
  EXPECT_GE(busyTicks() - before, 15U);
}

TEST(ThisMachine, hasItsMemory) {
  struct sysinfo facts{};
  ASSERT_EQ(::sysinfo(&facts), 0);
  ProcMachineMetrics metrics;
  EXPECT_EQ(metrics.memoryTotalBytes(), static_cast<std::uint64_t>(facts.totalram) * facts.mem_unit);
  EXPECT_GT(metrics.memoryUsedBytes(), 0U);
  EXPECT_LT(metrics.memoryUsedBytes(), metrics.memoryTotalBytes());
}

TEST(ThisMachine, hasRunForSomeTime) {
  timespec begin{};
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &begin), 0);
  const double uptime = ProcMachineMetrics().uptimeSeconds();
  timespec end{};
  ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &end), 0);
  EXPECT_GE(uptime, static_cast<double>(begin.tv_sec));
  EXPECT_LE(uptime, static_cast<double>(end.tv_sec) + 1);
}

TEST(ThisMachine, hasAThermalState) {
  const auto state = ProcMachineMetrics().thermalState();
  EXPECT_GE(state, State::nominal);
  EXPECT_LE(state, State::critical);
}

TEST(ThisMachine, isReadWithoutAChildProcess) {
  rusage before{};
  ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &before), 0);
  ProcMachineMetrics metrics;
  for (int count = 0; count < 100; ++count) {
    metrics.processorTicks();
    metrics.memoryUsedBytes();
    metrics.memoryTotalBytes();
    metrics.thermalState();
  }
  rusage after{};
  ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &after), 0);
  EXPECT_EQ(after.ru_minflt, before.ru_minflt) << "a child that was reaped has touched memory";
}

}  // namespace
}  // namespace quorl::test
