// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/MachineMetrics.h>

namespace quorl {

/// Temperatures in thousandths of a degree Celsius, as sysfs has them.
using MilliCelsius = std::int64_t;

/// The temperatures from which a sensor counts as warm, hot and critical.
struct ThermalLimits {
  std::optional<MilliCelsius> fair;
  std::optional<MilliCelsius> serious;
  std::optional<MilliCelsius> critical;

  bool operator==(const ThermalLimits&) const = default;
};

struct ThermalSensor {
  std::string temperatureFile;
  ThermalLimits limits;

  bool operator==(const ThermalSensor&) const = default;
};

/// One trip point of a thermal zone: its type ("active", "passive", "hot", "critical") and temperature.
struct TripPoint {
  std::string type;
  MilliCelsius temperature = 0;
};

/// The limits of a thermal zone (Linux Documentation/driver-api/thermal/sysfs-api.rst). At the passive trip
/// the kernel slows the processors down: serious; from 10 degrees below it: fair. The hot trip, or 5 degrees
/// below the critical one, at which the machine turns itself off: critical. Without a passive trip, serious
/// is 10 degrees below critical. Active trips turn fans on in ordinary use and do not count. Pure.
ThermalLimits limitsOfZone(const std::vector<TripPoint>& trips);

/// The limits of a processor's sensor (Linux Documentation/hwmon/sysfs-interface.rst). The chip slows down
/// near `crit`: critical; from 5 degrees below it: serious. `max`, at which all fans should run: fair, else
/// 20 degrees below `crit`. Pure.
ThermalLimits limitsOfChip(std::optional<MilliCelsius> max, std::optional<MilliCelsius> crit);

/// The content of a sysfs file with one temperature. Absent when it is malformed, or not between -50 and 200
/// degrees: drivers report absent values and unset limits like that. Pure.
std::optional<MilliCelsius> parseTemperature(std::string_view text);

/// Pure.
MachineMetrics::ThermalState thermalStateAt(MilliCelsius temperature, const ThermalLimits& limits);

/// The sensors below `root` that have limits and can be read: all thermal zones that are not disabled, and
/// the chips of processors. The sensors of drives and radios are left out; reading one may wake its device.
/// Reads files.
std::vector<ThermalSensor> findThermalSensors(const std::string& root);

}  // namespace quorl
