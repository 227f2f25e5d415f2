// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/HostStateText.h>

#include <array>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/TextTable.h>

namespace quorl::client {
namespace {

void append(std::vector<std::string>& lines, std::string_view title, std::size_t count,
            const TextTable& table) {
  lines.push_back(fmt::format("{}: {}", title, count));
  if (table.isEmpty()) return;
  for (auto& line : table.lines()) lines.push_back(std::move(line));
}

std::string heatText(std::int64_t thermalState) {
  constexpr std::array<std::string_view, 4> words{"nominal", "fair", "serious", "critical"};
  return thermalState >= 0 && thermalState < static_cast<std::int64_t>(words.size())
             ? std::string(words[static_cast<std::size_t>(thermalState)])
             : std::to_string(thermalState);
}

// "3 d 04:05:06", without the days when there are none.
std::string durationText(double seconds) {
  if (!(seconds >= 0 && seconds < 1e12)) return fmt::format("{:g} s", seconds);
  const auto whole = static_cast<std::int64_t>(seconds);
  const std::int64_t days = whole / 86'400;
  return fmt::format("{}{:02}:{:02}:{:02}", days > 0 ? fmt::format("{} d ", days) : "", whole / 3600 % 24,
                     whole / 60 % 60, whole % 60);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string result;
  for (const auto& text : texts) result += (result.empty() ? "" : ", ") + printable(text);
  return result.empty() ? std::string("none") : result;
}

}  // namespace

std::vector<std::string> stateLines(const HostState& state) {
  std::vector<std::string> lines;
  TextTable displays({{"ID", Column::right}, {"PIXELS"}, {"SCALE"}, {"MAIN"}, {"NAME"}});
  for (const auto& display : state.displays)
    displays.add({std::to_string(display.id), fmt::format("{}x{}", display.pixelWidth, display.pixelHeight),
                  fmt::format("{:g}", display.scale), display.isMain ? "yes" : "", printable(display.name)});
  append(lines, "displays", state.displays.size(), displays);

  TextTable windows({{"ID", Column::right}, {"SIZE"}, {"AT"}, {"SHOWN"}, {"APPLICATION"}, {"TITLE"}});
  for (const auto& window : state.windows)
    windows.add({std::to_string(window.id),
                 fmt::format("{:g}x{:g}", window.frame.size.width, window.frame.size.height),
                 fmt::format("{:g},{:g}", window.frame.origin.x, window.frame.origin.y),
                 window.isOnScreen ? "yes" : "no", printable(window.appName), printable(window.title)});
  append(lines, "windows", state.windows.size(), windows);

  TextTable applications(
      {{"PID", Column::right}, {"WINDOWS", Column::right}, {"ICON"}, {"IDENTIFIER"}, {"NAME"}});
  for (const auto& app : state.apps)
    applications.add({std::to_string(app.pid), std::to_string(app.windowCount), app.iconPNG ? "yes" : "no",
                      printable(app.bundleID), printable(app.name)});
  append(lines, "applications", state.apps.size(), applications);
  return lines;
}

std::string metricsLine(const SystemMetrics& metrics) {
  return fmt::format("metrics: processor {:.0f} %, memory {} of {} MiB, up {}, heat {}",
                     metrics.cpuUsage * 100, metrics.memoryUsedBytes >> 20U, metrics.memoryTotalBytes >> 20U,
                     durationText(metrics.uptimeSeconds), heatText(metrics.thermalState));
}

std::vector<std::string> networkLines(const NetworkStatus& status) {
  std::vector<std::string> lines;
  lines.push_back(fmt::format("network: overlay {} ({}), addresses {}; LAN addresses {}",
                              rawValue(status.overlay), rawValue(status.health),
                              joined(status.overlayAddresses), joined(status.lanAddresses)));
  if (status.magicDNSName)
    lines.push_back(fmt::format("  name on the overlay: {}", printable(*status.magicDNSName)));
  lines.push_back(fmt::format("  session port {}, relay port {}", status.sessionPort, status.relayPort));
  if (status.guidance) lines.push_back(fmt::format("  {}", printable(*status.guidance)));
  return lines;
}

}  // namespace quorl::client
