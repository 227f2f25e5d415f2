// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/ThermalSensors.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <string>

#include <fmt/format.h>

#include <QuorlHostLinux/System/SystemFile.h>

namespace quorl {

namespace {

using State = MachineMetrics::ThermalState;

constexpr MilliCelsius degree = 1000;
constexpr MilliCelsius lowest = -50 * degree;
constexpr MilliCelsius highest = 200 * degree;

// More than any machine has; a zone has at most 32 trip points (the kernel's mask of them). The first inputs
// of a chip are those of the package, the later ones of single cores.
constexpr std::size_t maxFolders = 64;
constexpr int maxTrips = 32;
constexpr int maxInputs = 4;

// The folders in `folder` whose names begin with `prefix`, in the order of their names.
std::vector<std::string> foldersIn(const std::string& folder, std::string_view prefix) {
  std::vector<std::string> found;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    if (entry->path().filename().string().starts_with(prefix)) found.push_back(entry->path().string());
  std::ranges::sort(found);
  if (found.size() > maxFolders) found.resize(maxFolders);
  return found;
}

std::optional<MilliCelsius> temperatureIn(const std::string& path) {
  const auto text = systemFileText(path);
  return text ? parseTemperature(*text) : std::nullopt;
}

std::vector<TripPoint> tripsOf(const std::string& zone) {
  std::vector<TripPoint> trips;
  for (int number = 0; number < maxTrips; ++number) {
    const std::string trip = fmt::format("{}/trip_point_{}_", zone, number);
    const auto type = systemFileText(trip + "type");
    if (!type) break;
    if (const auto temperature = temperatureIn(trip + "temp"))
      trips.push_back({trimmedLine(*type), *temperature});
  }
  return trips;
}

// k10temp and zenpower: AMD; coretemp and via_cputemp: Intel and VIA; cpu_thermal: boards with a device tree.
bool isProcessorChip(std::string_view name) {
  constexpr std::array<std::string_view, 5> names{"coretemp", "k10temp", "zenpower", "via_cputemp",
                                                  "cpu_thermal"};
  return std::ranges::find(names, name) != names.end();
}

void addIfUsable(std::vector<ThermalSensor>& sensors, std::string file, const ThermalLimits& limits) {
  const bool isLimited = limits.critical || limits.serious || limits.fair;
  if (isLimited && systemFileText(file)) sensors.push_back({std::move(file), limits});
}

}  // namespace

std::optional<MilliCelsius> parseTemperature(std::string_view text) {
  const std::string line = trimmedLine(text);
  MilliCelsius value = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), value);
  if (error != std::errc() || end != line.data() + line.size()) return std::nullopt;
  if (value < lowest || value > highest) return std::nullopt;
  return value;
}

ThermalLimits limitsOfZone(const std::vector<TripPoint>& trips) {
  ThermalLimits limits;
  const auto lower = [](std::optional<MilliCelsius>& limit, MilliCelsius temperature) {
    limit = std::min(limit.value_or(temperature), temperature);
  };
  for (const TripPoint& trip : trips) {
    if (trip.temperature <= 0) continue;  // unset
    if (trip.type == "critical") lower(limits.critical, trip.temperature - 5 * degree);
    if (trip.type == "hot") lower(limits.critical, trip.temperature);
    if (trip.type == "passive") lower(limits.serious, trip.temperature);
  }
  if (!limits.serious && limits.critical) limits.serious = *limits.critical - 5 * degree;
  if (limits.serious) limits.fair = *limits.serious - 10 * degree;
  return limits;
}

ThermalLimits limitsOfChip(std::optional<MilliCelsius> max, std::optional<MilliCelsius> crit) {
  ThermalLimits limits;
  if (crit && *crit > 0) {
    limits.critical = crit;
    limits.serious = *crit - 5 * degree;
    limits.fair = *crit - 20 * degree;
  }
  if (max && *max > 0) limits.fair = limits.serious ? std::min(*max, *limits.serious) : *max;
  return limits;
}

State thermalStateAt(MilliCelsius temperature, const ThermalLimits& limits) {
  if (limits.critical && temperature >= *limits.critical) return State::critical;
  if (limits.serious && temperature >= *limits.serious) return State::serious;
  if (limits.fair && temperature >= *limits.fair) return State::fair;
  return State::nominal;
}

std::vector<ThermalSensor> findThermalSensors(const std::string& root) {
  std::vector<ThermalSensor> sensors;
  for (const std::string& zone : foldersIn(root + "/sys/class/thermal", "thermal_zone")) {
    if (const auto mode = systemFileText(zone + "/mode"); mode && trimmedLine(*mode) == "disabled") continue;
    addIfUsable(sensors, zone + "/temp", limitsOfZone(tripsOf(zone)));
  }
  for (const std::string& chip : foldersIn(root + "/sys/class/hwmon", "hwmon")) {
    const auto name = systemFileText(chip + "/name");
    if (!name || !isProcessorChip(trimmedLine(*name))) continue;
    for (int number = 1; number <= maxInputs; ++number) {
      const std::string input = fmt::format("{}/temp{}_", chip, number);
      addIfUsable(sensors, input + "input",
                  limitsOfChip(temperatureIn(input + "max"), temperatureIn(input + "crit")));
    }
  }
  return sensors;
}

}  // namespace quorl
