// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Files/TransferText.h>

#include <algorithm>
#include <array>
#include <cmath>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <QuorlKit/Foundation/TextTools.h>

namespace quorl::client {
namespace {

constexpr std::size_t nameWidth = 24;
constexpr std::size_t barWidth = 20;
// The first moments say nothing about the rate.
constexpr Elapsed shortest{0.3};

}  // namespace

std::string byteText(double bytes) {
  static constexpr std::array units{"B", "kB", "MB", "GB", "TB", "PB", "EB"};
  std::size_t unit = 0;
  // 999.95 would be printed as 1000.0.
  while (bytes >= (unit == 0 ? 1'000 : 999.95) && unit + 1 < units.size()) {
    bytes /= 1'000;
    ++unit;
  }
  return unit == 0 ? fmt::format("{:.0f} B", std::floor(bytes))
                   : fmt::format("{:.1f} {}", bytes, units[unit]);
}

std::string timeText(Elapsed time) {
  const auto seconds = static_cast<std::int64_t>(std::ceil(std::min(time.count(), 3'600'000.0)));
  if (seconds < 3'600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02}", seconds / 3'600, seconds / 60 % 60, seconds % 60);
}

std::string progressText(std::string_view name, std::uint64_t done, std::uint64_t total, Elapsed elapsed) {
  const double share = total == 0 ? 1 : std::min(static_cast<double>(done) / static_cast<double>(total), 1.0);
  const auto filled = static_cast<std::size_t>(share * barWidth);
  std::string text =
      fmt::format("{:<24} [{}{}] {:>3.0f} %", firstCharacters(name, nameWidth), std::string(filled, '#'),
                  std::string(barWidth - filled, '-'), std::floor(share * 100));
  if (elapsed < shortest || done == 0) return text;
  const double rate = static_cast<double>(done) / elapsed.count();
  text += fmt::format("  {}/s", byteText(rate));
  if (done < total)
    text += fmt::format("  {} left", timeText(Elapsed(static_cast<double>(total - done) / rate)));
  return text;
}

std::string resultText(std::string_view name, std::uint64_t bytes, Elapsed elapsed, ByteView sha256) {
  const double seconds = std::max(elapsed.count(), 0.001);
  return fmt::format("{}: {} in {:.1f} s, {}/s, SHA-256 {:02x} matches", name,
                     byteText(static_cast<double>(bytes)), seconds,
                     byteText(static_cast<double>(bytes) / seconds), fmt::join(sha256, ""));
}

}  // namespace quorl::client
