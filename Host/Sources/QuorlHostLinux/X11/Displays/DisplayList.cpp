// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Displays/DisplayList.h>

#include <algorithm>

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

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

// Returns the end when there are no monitors.
std::vector<Monitor>::const_iterator mainOf(const std::vector<Monitor>& monitors) {
  auto main = std::ranges::find_if(monitors, &Monitor::isPrimary);
  if (main == monitors.end()) {
    main = std::ranges::find_if(monitors, [](const auto& m) { return m.bounds.contains({0, 0, 1, 1}); });
  }
  return main == monitors.end() ? monitors.begin() : main;
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

RootPosition originOf(const std::vector<Monitor>& monitors) {
  const auto main = mainOf(monitors);
  return main == monitors.end() ? RootPosition{} : RootPosition{main->bounds.x, main->bounds.y};
}

PointRect pointsOf(const PixelRect& rect, RootPosition origin) {
  return {{double(rect.x - origin.x), double(rect.y - origin.y)}, {double(rect.width), double(rect.height)}};
}

std::vector<ShareableDisplay> displaysOf(const std::vector<Monitor>& monitors) {
  const auto main = mainOf(monitors);
  const RootPosition origin = originOf(monitors);
  std::vector<ShareableDisplay> displays;
  for (auto monitor = monitors.begin(); monitor != monitors.end(); ++monitor) {
    displays.push_back({.displayID = displayIDOf(monitor->name),
                        .name = monitor->name,
                        .bounds = pointsOf(monitor->bounds, origin),
                        .pixelScale = 1.0,
                        .isMain = monitor == main});
  }
  return displays;
}

void selectMonitorEvents(X11Connection& connection) {
  if (connection.extensions().randr.present) {
    xcb_randr_select_input(connection.xcb(), connection.root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
  }
  connection.selectRootEvents(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

bool isMonitorEvent(const void* event, const X11Connection& connection) {
  const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
  const int type = generic.response_type & 0x7F;
  if (type == XCB_CONFIGURE_NOTIFY) {
    return static_cast<const xcb_configure_notify_event_t*>(event)->window == connection.root();
  }
  const auto& randr = connection.extensions().randr;
  return randr.present && (type == randr.firstEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                           type == randr.firstEvent + XCB_RANDR_NOTIFY);
}

}  // namespace quorl
