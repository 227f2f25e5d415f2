// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/HostState/DisplayInfos.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

#include <fmt/format.h>

namespace quorl {

namespace {

std::int64_t wholePixels(double pixels) {
  constexpr double most = 1e9;  // far above any display
  return pixels >= 0 && pixels <= most ? std::llround(pixels) : 0;
}

std::string displayName(std::uint32_t displayID, const std::string& name, bool isBuiltIn) {
  if (!name.empty()) return name;
  return isBuiltIn ? "Built-in Display" : fmt::format("Display {}", displayID);
}

DisplayInfo infoFromFacts(std::uint32_t displayID, const DisplayFacts& facts) {
  DisplayInfo info{.id = displayID,
                   .name = displayName(displayID, facts.name, facts.isBuiltIn),
                   .pixelWidth = wholePixels(facts.bounds.size.width),
                   .pixelHeight = wholePixels(facts.bounds.size.height),
                   .scale = 1.0,
                   .isMain = facts.isMain};
  if (facts.mode) {
    info.pixelWidth = facts.mode->pixelWidth;
    info.pixelHeight = facts.mode->pixelHeight;
    if (facts.mode->pointWidth != 0)
      info.scale = static_cast<double>(facts.mode->pixelWidth) / static_cast<double>(facts.mode->pointWidth);
  }
  return info;
}

DisplayInfo infoFromCapture(const ShareableDisplay& display) {
  const double scale = std::isfinite(display.pixelScale) ? display.pixelScale : 1.0;
  return {.id = display.displayID,
          .name = displayName(display.displayID, display.name, false),
          .pixelWidth = wholePixels(display.bounds.size.width * scale),
          .pixelHeight = wholePixels(display.bounds.size.height * scale),
          .scale = scale,
          .isMain = display.isMain};
}

std::vector<DisplayInfo> infosFromCatalog(DisplayCatalog& catalog) {
  std::vector<std::uint32_t> ids = catalog.activeDisplays(maxListedDisplays);
  if (ids.empty()) ids = catalog.onlineDisplays(maxListedDisplays);
  if (ids.size() > maxListedDisplays) ids.resize(maxListedDisplays);
  std::vector<DisplayInfo> infos;
  for (const std::uint32_t displayID : ids)
    if (const auto facts = catalog.facts(displayID)) infos.push_back(infoFromFacts(displayID, *facts));
  return infos;
}

}  // namespace

std::vector<DisplayInfo> displayInfos(const std::vector<ShareableDisplay>& shareable,
                                      DisplayCatalog* catalog) {
  if (shareable.empty()) return catalog ? infosFromCatalog(*catalog) : std::vector<DisplayInfo>();
  std::vector<DisplayInfo> infos;
  for (const ShareableDisplay& display : shareable) {
    auto facts = catalog ? catalog->facts(display.displayID) : std::nullopt;
    if (facts && facts->name.empty()) facts->name = display.name;
    infos.push_back(facts ? infoFromFacts(display.displayID, *facts) : infoFromCapture(display));
  }
  return infos;
}

}  // namespace quorl
