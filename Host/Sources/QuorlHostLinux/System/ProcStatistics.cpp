// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/ProcStatistics.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace quorl {

namespace {

std::string_view takeLine(std::string_view& text) {
  const auto end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

// The number at the start of `text`, after blanks; it must end at a blank or at the end.
std::optional<std::uint64_t> takeNumber(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (!text.empty() && text.front() != ' ' && text.front() != '\t') return std::nullopt;
  return number;
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t") == std::string_view::npos;
}

// A line that begins with "cpu" and a number.
bool isProcessorLine(std::string_view line) {
  return line.starts_with("cpu") && line.size() > 3 && line[3] >= '0' && line[3] <= '9';
}

std::optional<ProcessorTicks> ticksOf(std::string_view line) {
  enum Column { user, nice, system, idle, iowait, irq, softirq, columns };
  constexpr std::size_t required = iowait;  // the later columns came with Linux 2.6
  line.remove_prefix(3);
  if (!takeNumber(line)) return std::nullopt;  // the processor's
  std::array<std::uint64_t, columns> ticks{};
  for (std::size_t column = 0; column < columns; ++column) {
    if (column >= required && isBlank(line)) break;
    const auto number = takeNumber(line);
    if (!number) return std::nullopt;
    ticks[column] = *number;
  }
  return ProcessorTicks{.user = ticks[user],
                        .system = ticks[system] + ticks[irq] + ticks[softirq],
                        .idle = ticks[idle] + ticks[iowait],
                        .nice = ticks[nice]};
}

// "Name:   number kB". Absent when malformed or too large to count in bytes.
std::optional<std::uint64_t> bytesOf(std::string_view value) {
  const auto kibibytes = takeNumber(value);
  if (!kibibytes || *kibibytes > std::numeric_limits<std::uint64_t>::max() / 1024) return std::nullopt;
  return *kibibytes * 1024;
}

}  // namespace

std::vector<ProcessorTicks> parseProcessorTicks(std::string_view procStat) {
  std::vector<ProcessorTicks> processors;
  while (!procStat.empty()) {
    const std::string_view line = takeLine(procStat);
    if (!isProcessorLine(line)) continue;
    const auto ticks = ticksOf(line);
    if (!ticks) return {};
    processors.push_back(*ticks);
  }
  return processors;
}

std::optional<MemoryAmounts> parseMemory(std::string_view procMeminfo) {
  std::optional<std::uint64_t> total;
  std::optional<std::uint64_t> available;
  std::uint64_t reclaimable = 0;
  std::uint64_t shared = 0;
  while (!procMeminfo.empty()) {
    const std::string_view line = takeLine(procMeminfo);
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, colon);
    const auto bytes = bytesOf(line.substr(colon + 1));
    if (!bytes) continue;
    if (name == "MemTotal") total = bytes;
    if (name == "MemAvailable") available = bytes;
    if (name == "Shmem") shared = *bytes;
    if (name == "MemFree" || name == "Buffers" || name == "Cached" || name == "SReclaimable")
      reclaimable += std::min(*bytes, std::numeric_limits<std::uint64_t>::max() - reclaimable);
  }
  if (!total) return std::nullopt;
  const std::uint64_t unused = available.value_or(reclaimable - std::min(shared, reclaimable));
  return MemoryAmounts{.totalBytes = *total, .usedBytes = *total - std::min(unused, *total)};
}

}  // namespace quorl
