// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace quorl {

/// The load of the machine. A metric that cannot be read is 0 or empty.
///
/// *Queue*: any thread. There are no callbacks.
/// *Blocking*: reads values of the kernel; no call waits for a process.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class MachineMetrics {
 public:
  /// The heat of the machine.
  enum class ThermalState : std::uint8_t { nominal = 0, fair = 1, serious = 2, critical = 3 };

  virtual ~MachineMetrics() = default;

  /// Ticks since the start of the machine, modulo 2^32: four numbers for each core, in the order user,
  /// system, idle, nice.
  virtual std::vector<std::uint32_t> processorTicks() = 0;
  /// Bytes that cannot be had without writing to disk: wired, active and compressed memory.
  virtual std::uint64_t memoryUsedBytes() = 0;
  virtual std::uint64_t memoryTotalBytes() = 0;
  virtual double uptimeSeconds() = 0;
  virtual ThermalState thermalState() = 0;
};

}  // namespace quorl
