// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <QuorlHostCore/Ports/MachineMetrics.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// The share of processor time, 0 to 1, that was not idle between two readings of
/// `MachineMetrics::processorTicks`. Each counter may have wrapped once. 0 if the readings have different
/// lengths or no time has passed. Pure.
double processorUsage(const std::vector<std::uint32_t>& before, const std::vector<std::uint32_t>& after);

/// Reads the load of the machine. The processor usage is that since the previous sample, 0 in the first one.
///
/// *Queue*: one thread at a time. *Blocking*: as the port. *Ownership*: shares the port.
class SystemMetricsSampler {
 public:
  /// Without a port every metric is 0.
  explicit SystemMetricsSampler(std::shared_ptr<MachineMetrics> metrics) : metrics_(std::move(metrics)) {}

  SystemMetrics sample();

 private:
  double sampleProcessors();

  std::shared_ptr<MachineMetrics> metrics_;
  std::vector<std::uint32_t> previousTicks_;
};

}  // namespace quorl
