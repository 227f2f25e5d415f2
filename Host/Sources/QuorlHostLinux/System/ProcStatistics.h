// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quorl {

/// One processor's ticks since the start of the machine.
struct ProcessorTicks {
  std::uint64_t user = 0;    // with guests
  std::uint64_t system = 0;  // with interrupts: irq and softirq
  std::uint64_t idle = 0;    // with iowait
  std::uint64_t nice = 0;    // with niced guests

  bool operator==(const ProcessorTicks&) const = default;
};

/// The processors of /proc/stat (proc_stat(5)), in its order. Ticks that the hypervisor gave to other
/// machines (steal) are neither busy nor idle time of this one and are left out. Empty when a processor's
/// line is malformed. Pure.
std::vector<ProcessorTicks> parseProcessorTicks(std::string_view procStat);

struct MemoryAmounts {
  std::uint64_t totalBytes = 0;
  std::uint64_t usedBytes = 0;

  bool operator==(const MemoryAmounts&) const = default;
};

/// The memory of /proc/meminfo (proc_meminfo(5)). Used is what programs cannot have without swapping,
/// MemTotal
/// - MemAvailable: anonymous and shared memory, the kernel's own and compressed swap (zswap), but not the
/// clean page cache. Kernels before 3.14 have no MemAvailable; there it is estimated by the free memory, the
/// page cache without shared memory, and reclaimable slabs. Absent when it has no total. Pure.
std::optional<MemoryAmounts> parseMemory(std::string_view procMeminfo);

}  // namespace quorl
