// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/DisplayList.h>

#include <algorithm>

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/DirtyRegion.h>
#include <QuorlHostLinux/X11/XcbReply.h>

namespace quorl {

namespace {

std::string nameOf(X11Connection& connection, std::uint32_t atom) {
  const XcbReply<xcb_get_atom_name_reply_t> reply(
      xcb_get_atom_name_reply(connection.xcb(), xcb_get_atom_name(connection.xcb(), atom), nullptr));
  if (!reply) return {};
  return {xcb_get_atom_name_name(reply.get()),
          static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

std::vector<Monitor> rootAlone(X11Connection& connection) {
  const PixelSize size = connection.rootSize();
  if (size.width == 0 || size.height == 0) return {};
  return {{"screen", {0, 0, size.width, size.height}, true}};
}

}  // namespace

std::vector<Monitor> readMonitors(X11Connection& connection) {
  if (!connection.extensions().randr.present) return rootAlone(connection);
  constexpr std::uint8_t onlyActive = 1;
  const XcbReply<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
      connection.xcb(), xcb_randr_get_monitors(connection.xcb(), connection.root(), onlyActive), nullptr));
  if (!reply) return {};
  std::vector<Monitor> monitors;
  for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
       xcb_randr_monitor_info_next(&each)) {
    const auto& info = *each.data;
    if (info.width == 0 || info.height == 0) continue;
    monitors.push_back(
        {nameOf(connection, info.name), {info.x, info.y, info.width, info.height}, info.primary != 0});
  }
  return monitors.empty() ? rootAlone(connection) : monitors;
}

std::uint32_t displayIDOf(std::string_view monitorName) {
  // FNV-1a (Fowler, Noll, Vo): offset basis and prime for 32 bits.
  std::uint32_t hash = 2166136261U;
  for (const char c : monitorName) {
    hash ^= static_cast<std::uint8_t>(c);
    hash *= 16777619U;
  }
  return hash == 0 ? 1 : hash;
}

std::vector<ShareableDisplay> displaysOf(const std::vector<Monitor>& monitors) {
  std::vector<ShareableDisplay> displays;
  for (const auto& monitor : monitors) {
    const auto& b = monitor.bounds;
    displays.push_back({.displayID = displayIDOf(monitor.name),
                        .name = monitor.name,
                        .bounds = {{double(b.x), double(b.y)}, {double(b.width), double(b.height)}},
                        .pixelScale = 1.0,
                        .isMain = false});
  }
  if (displays.empty()) return displays;
  auto main = std::ranges::find_if(monitors, &Monitor::isPrimary);
  if (main == monitors.end()) {
    main = std::ranges::find_if(monitors,
                                [](const auto& m) { return contains(m.bounds, PixelRect{0, 0, 1, 1}); });
  }
  const auto place = main == monitors.end() ? 0 : main - monitors.begin();
  displays[static_cast<std::size_t>(place)].isMain = true;
  return displays;
}

}  // namespace quorl
