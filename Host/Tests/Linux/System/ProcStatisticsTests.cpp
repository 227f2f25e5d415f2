// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/System/ProcStatistics.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ProcessorTicks, areReadForEachProcessorAndNotFromTheirSum) {
  const auto ticks = parseProcessorTicks(
      "cpu  300 30 90 900 9 3 6 0 0 0\n"
      "cpu0 100 10 30 300 3 1 2 0 0 0\n"
      "cpu1 200 20 60 600 6 2 4 0 0 0\n"
      "intr 37386 0 9\n"
      "ctxt 1\n");
  EXPECT_THAT(ticks, ElementsAre(ProcessorTicks{.user = 100, .system = 33, .idle = 303, .nice = 10},
                                 ProcessorTicks{.user = 200, .system = 66, .idle = 606, .nice = 20}));
}

TEST(ProcessorTicks, leaveOutStolenTicksAndDoNotCountGuestsTwice) {
  EXPECT_THAT(parseProcessorTicks("cpu0 100 10 30 300 3 1 2 5000 40 4\n"),
              ElementsAre(ProcessorTicks{.user = 100, .system = 33, .idle = 303, .nice = 10}));
}

TEST(ProcessorTicks, areReadFromKernelsWithFewerColumns) {
  EXPECT_THAT(parseProcessorTicks("cpu0 1 2 3 4\ncpu1 1 2 3 4 5 \n"),
              ElementsAre(ProcessorTicks{1, 3, 4, 2}, ProcessorTicks{1, 3, 9, 2}));
}

TEST(ProcessorTicks, areReadWithoutALineEndAndWithGapsInTheNumbers) {
  EXPECT_THAT(parseProcessorTicks("cpu3 1 2 3 4 5 6 7"), ElementsAre(ProcessorTicks{1, 16, 9, 2}));
}

TEST(ProcessorTicks, areAbsentWhenALineIsMalformed) {
  const std::string good = "cpu0 1 2 3 4 5 6 7 8 9 10\n";
  for (const char* bad :
       {"cpu1", "cpu1 ", "cpu1 1 2 3", "cpu1 1 2 3 x", "cpu1 1 2 -3 4", "cpu1 1,2,3,4", "cpu1 1 2 3 4 5 6x",
        "cpu1 1 2 3 99999999999999999999999", "cpu1x 1 2 3 4", "cpu99999999999999999999999 1 2 3 4",
        "cpu1 1.5 2 3 4", "cpu1 0x10 2 3 4", "cpu1 1 2 3 4 5 6 7x"}) {
    EXPECT_THAT(parseProcessorTicks(good + bad + "\n"), IsEmpty()) << bad;
    EXPECT_THAT(parseProcessorTicks(bad), IsEmpty()) << bad;
  }
}

TEST(ProcessorTicks, areAbsentFromAnyOtherText) {
  for (const std::string& text :
       {std::string(), std::string("\n\n\n"), std::string("cpu  1 2 3 4\n"), std::string("cpufreq 1\n"),
        std::string(1'000'000, 'c'), std::string("\0cpu0 1 2 3 4", 13), std::string("\xff\xfe")})
    EXPECT_THAT(parseProcessorTicks(text), IsEmpty());
}

TEST(ProcessorTicks, areReadOfThousandsOfProcessors) {
  std::string text;
  for (int processor = 0; processor < 8192; ++processor)
    text += "cpu" + std::to_string(processor) + " 1 2 3 4 5 6 7 8 9 10\n";
  EXPECT_EQ(parseProcessorTicks(text).size(), 8192U);
}

constexpr std::uint64_t KiB = 1024;

TEST(Memory, isUsedAsFarAsItIsNotAvailable) {
  EXPECT_EQ(parseMemory("MemTotal:        1000 kB\nMemFree:          100 kB\nMemAvailable:     600 kB\n"
                        "Buffers: 1 kB\nCached: 500 kB\n"),
            (MemoryAmounts{.totalBytes = 1000 * KiB, .usedBytes = 400 * KiB}));
}

TEST(Memory, isEstimatedOnKernelsThatDoNotReportWhatIsAvailable) {
  EXPECT_EQ(parseMemory("MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 50 kB\nCached: 300 kB\nShmem: 80 kB\n"
                        "SReclaimable: 30 kB\n"),
            (MemoryAmounts{.totalBytes = 1000 * KiB, .usedBytes = 600 * KiB}));
}

TEST(Memory, isNeverUsedBeyondItsTotalOrBelowZero) {
  EXPECT_EQ(parseMemory("MemTotal: 1000 kB\nMemAvailable: 5000 kB\n")->usedBytes, 0U);
  EXPECT_EQ(parseMemory("MemTotal: 1000 kB\n")->usedBytes, 1000 * KiB);
  EXPECT_EQ(parseMemory("MemTotal: 1000 kB\nShmem: 5000 kB\nMemFree: 10 kB\n")->usedBytes, 1000 * KiB);
}

TEST(Memory, isAbsentWithoutATotal) {
  for (const char* text : {"", "MemFree: 1 kB\n", "MemTotal:\n", "MemTotal: x kB\n", "MemTotal: -5 kB\n",
                           "MemTotal 5 kB\n", "MemTotal: 5kB\n", "MemTotal: 99999999999999999999999 kB\n",
                           "MemTotal: 18446744073709551615 kB\n", "XMemTotal: 5 kB\n"})
    EXPECT_EQ(parseMemory(text), std::nullopt) << text;
}

TEST(Memory, survivesSumsThatOverflow) {
  EXPECT_EQ(parseMemory("MemTotal: 18014398509481983 kB\nMemFree: 18014398509481983 kB\n"
                        "Cached: 18014398509481983 kB\nBuffers: 18014398509481983 kB\n")
                ->usedBytes,
            0U);
}

}  // namespace
}  // namespace quorl::test
