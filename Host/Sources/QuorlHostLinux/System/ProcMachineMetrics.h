// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/MachineMetrics.h>
#include <QuorlHostLinux/System/ProcStatistics.h>
#include <QuorlHostLinux/System/ThermalSensors.h>

namespace quorl {

/// The load of this machine from /proc, sysfs and the kernel's clock; no other process is asked.
/// `ProcStatistics.h` and `ThermalSensors.h` say how the kernel's figures are mapped.
///
/// *Queue*: any thread; a lock guards what is kept between calls.
class ProcMachineMetrics final : public MachineMetrics {
 public:
  /// `root` is the prefix of every path; tests use a folder of their own.
  explicit ProcMachineMetrics(std::string root = "") : root_(std::move(root)) {}

  std::vector<std::uint32_t> processorTicks() override;
  std::uint64_t memoryUsedBytes() override;
  std::uint64_t memoryTotalBytes() override;
  /// Since the start of the machine, without the time in which it slept.
  double uptimeSeconds() override;
  /// That of the hottest sensor; nominal without sensors.
  ThermalState thermalState() override;

 private:
  std::optional<MemoryAmounts> memory() const;

  const std::string root_;
  std::mutex mutex_;
  std::vector<std::uint64_t> lastIdle_;                // of each processor
  std::optional<std::vector<ThermalSensor>> sensors_;  // absent until they are needed
};

}  // namespace quorl
