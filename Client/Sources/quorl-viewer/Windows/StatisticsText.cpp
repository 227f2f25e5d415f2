// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/StatisticsText.h>

#include <iterator>

#include <fmt/format.h>

namespace quorl::viewer {

namespace {

constexpr std::array<std::string_view, dropCauses> causeNames{
    "lost", "late", "waiting for a key frame", "damaged", "replaced", "hidden"};

void addTimes(std::string& text, std::string_view what, const std::optional<TimeSummary>& times) {
  if (!times) return;
  fmt::format_to(std::back_inserter(text), "\n{:<11}{:6.1f} ms   95 %: {:.1f}", what, times->median,
                 times->percentile95);
}

}  // namespace

std::string statisticsText(const PictureReport& report, const LinkCounters& counters,
                           const std::string& decoder, PixelSize picture) {
  std::string text = fmt::format("{}, {}x{}\n{:.1f} pictures/s shown, {:.1f} decoded\n{:.2f} Mbit/s",
                                 decoder.empty() ? "no decoder" : decoder, picture.width, picture.height,
                                 report.shownPerSecond, report.decodedPerSecond, report.megabitsPerSecond);
  addTimes(text, "round trip", report.roundTrip);
  addTimes(text, "network", report.network);
  addTimes(text, "waiting", report.waiting);
  addTimes(text, "decoding", report.decode);
  addTimes(text, "display", report.display);
  addTimes(text, "age", report.age);
  std::string drops;
  for (std::size_t cause = 0; cause < dropCauses; ++cause)
    if (report.drops[cause] > 0)
      drops += fmt::format("{}{} {}", drops.empty() ? "" : ", ", report.drops[cause], causeNames[cause]);
  if (!drops.empty()) text += "\nnot shown: " + drops;
  if (counters.connections > 1) text += fmt::format("\n{} connections", counters.connections);
  return text;
}

}  // namespace quorl::viewer
