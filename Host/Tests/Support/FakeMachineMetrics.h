// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <QuorlHostCore/Ports/MachineMetrics.h>

namespace quorl::test {

/// A machine of one core whose load a test sets. Counts the samples.
class FakeMachineMetrics : public MachineMetrics {
 public:
  std::vector<std::uint32_t> processorTicks() override {
    ++samples;
    return ticks;
  }
  std::uint64_t memoryUsedBytes() override { return memoryUsed; }
  std::uint64_t memoryTotalBytes() override { return memoryTotal; }
  double uptimeSeconds() override { return uptime; }
  ThermalState thermalState() override { return thermal; }

  std::vector<std::uint32_t> ticks{0, 0, 0, 0};
  std::uint64_t memoryUsed = 3'000'000'000;
  std::uint64_t memoryTotal = 8'000'000'000;
  double uptime = 3600.5;
  ThermalState thermal = ThermalState::fair;
  int samples = 0;
};

}  // namespace quorl::test
