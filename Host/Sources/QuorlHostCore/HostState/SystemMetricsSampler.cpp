// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/SystemMetricsSampler.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace quorl {

namespace {

constexpr std::size_t ticksPerCore = 4;  // user, system, idle, nice
constexpr std::size_t idlePosition = 2;

}  // namespace

double processorUsage(const std::vector<std::uint32_t>& before, const std::vector<std::uint32_t>& after) {
  if (before.size() != after.size()) return 0;
  std::uint64_t busy = 0;
  std::uint64_t total = 0;
  for (std::size_t at = 0; at < after.size(); ++at) {
    const std::uint32_t passed = after[at] - before[at];  // modulo 2^32
    total += passed;
    if (at % ticksPerCore != idlePosition) busy += passed;
  }
  if (total == 0) return 0;
  return std::clamp(static_cast<double>(busy) / static_cast<double>(total), 0.0, 1.0);
}

double SystemMetricsSampler::sampleProcessors() {
  std::vector<std::uint32_t> ticks = metrics_->processorTicks();
  // After a failed reading the next one is compared with the last good one.
  if (ticks.empty()) return 0;
  const double usage = processorUsage(previousTicks_, ticks);
  previousTicks_ = std::move(ticks);
  return usage;
}

SystemMetrics SystemMetricsSampler::sample() {
  if (!metrics_) return {};
  const double uptime = metrics_->uptimeSeconds();
  return {.cpuUsage = sampleProcessors(),
          .memoryUsedBytes = metrics_->memoryUsedBytes(),
          .memoryTotalBytes = metrics_->memoryTotalBytes(),
          // JSON has no other numbers; one of them would withhold the whole state.
          .uptimeSeconds = std::isfinite(uptime) ? uptime : 0,
          .thermalState = static_cast<std::int64_t>(metrics_->thermalState())};
}

}  // namespace quorl
