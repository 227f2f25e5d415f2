// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/ProcMachineMetrics.h>

#include <algorithm>
#include <ctime>

#include <QuorlHostLinux/System/SystemFile.h>

namespace quorl {

std::vector<std::uint32_t> ProcMachineMetrics::processorTicks() {
  const auto text = systemFileText(root_ + "/proc/stat");
  if (!text) return {};
  std::vector<ProcessorTicks> processors = parseProcessorTicks(*text);
  const std::lock_guard lock(mutex_);
  // The kernel's iowait may decrease (proc_stat(5)), and the reader would take that for a wrap.
  const bool areSame = lastIdle_.size() == processors.size();
  lastIdle_.resize(processors.size());
  std::vector<std::uint32_t> ticks;
  ticks.reserve(processors.size() * 4);
  for (std::size_t at = 0; at < processors.size(); ++at) {
    ProcessorTicks& processor = processors[at];
    if (areSame) processor.idle = std::max(processor.idle, lastIdle_[at]);
    lastIdle_[at] = processor.idle;
    for (const std::uint64_t count : {processor.user, processor.system, processor.idle, processor.nice})
      ticks.push_back(static_cast<std::uint32_t>(count));  // modulo 2^32
  }
  return ticks;
}

std::optional<MemoryAmounts> ProcMachineMetrics::memory() const {
  const auto text = systemFileText(root_ + "/proc/meminfo");
  return text ? parseMemory(*text) : std::nullopt;
}

std::uint64_t ProcMachineMetrics::memoryUsedBytes() {
  const auto amounts = memory();
  return amounts ? amounts->usedBytes : 0;
}

std::uint64_t ProcMachineMetrics::memoryTotalBytes() {
  const auto amounts = memory();
  return amounts ? amounts->totalBytes : 0;
}

// Not /proc/uptime, which also counts sleep (CLOCK_BOOTTIME, clock_gettime(2)).
double ProcMachineMetrics::uptimeSeconds() {
  timespec now{};
  if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) return 0;
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

MachineMetrics::ThermalState ProcMachineMetrics::thermalState() {
  const std::lock_guard lock(mutex_);
  // Limits are fixed in practice and cost several files a sensor, so that they are read once, and again after
  // a sensor has gone.
  if (!sensors_) sensors_ = findThermalSensors(root_);
  ThermalState hottest = ThermalState::nominal;
  bool isComplete = true;
  for (const ThermalSensor& sensor : *sensors_) {
    const auto text = systemFileText(sensor.temperatureFile);
    const auto temperature = text ? parseTemperature(*text) : std::nullopt;
    if (temperature)
      hottest = std::max(hottest, thermalStateAt(*temperature, sensor.limits));
    else
      isComplete = isComplete && text.has_value();
  }
  if (!isComplete) sensors_.reset();
  return hottest;
}

}  // namespace quorl
