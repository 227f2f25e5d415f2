// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/ApplicationWindows.h>

#include <algorithm>
#include <array>

#include <xcb/xcb.h>

namespace quorl {

namespace {

/// The window that an event concerns, if the event can change where its program's windows are; else 0.
std::uint32_t changedWindow(X11Connection& connection, const void* event) {
  // Without the events that programs send: only the server's own count.
  switch (static_cast<const xcb_generic_event_t*>(event)->response_type) {
    case XCB_CONFIGURE_NOTIFY:
      return static_cast<const xcb_configure_notify_event_t*>(event)->window;
    case XCB_MAP_NOTIFY:
      return static_cast<const xcb_map_notify_event_t*>(event)->window;
    case XCB_UNMAP_NOTIFY:
      return static_cast<const xcb_unmap_notify_event_t*>(event)->window;
    case XCB_REPARENT_NOTIFY:
      return static_cast<const xcb_reparent_notify_event_t*>(event)->window;
    case XCB_PROPERTY_NOTIFY: {
      const auto& changed = *static_cast<const xcb_property_notify_event_t*>(event);
      const std::array placing{connection.atom("_NET_WM_STATE"), connection.atom("_NET_WM_WINDOW_TYPE"),
                               connection.atom("_NET_FRAME_EXTENTS"), connection.atom("_GTK_FRAME_EXTENTS")};
      return std::ranges::find(placing, changed.atom) == placing.end() ? 0 : changed.window;
    }
    default:
      return 0;
  }
}

}  // namespace

// The moves of a frame are followed without a question to the server, also where the frame is the program's
// own window.
bool ApplicationWindows::handle(const void* event) {
  const std::uint32_t changed = changedWindow(connection_, event);
  if (changed == 0 || !contains(changed)) return false;
  const auto isFrame = [changed](const auto& window) { return window.place.frame == changed; };
  const bool isMove = static_cast<const xcb_generic_event_t*>(event)->response_type == XCB_CONFIGURE_NOTIFY &&
                      std::ranges::any_of(windows_, isFrame);
  if (isMove) return false;
  membership_ = 0;
  return true;
}

PixelRect ApplicationWindows::area() {
  if (isStale()) read();
  PixelRect all;
  for (const auto& window : windows_) {
    const TopLevel* frame = scene_.windows.find(window.place.frame);
    if (!window.isOnScreen() || frame == nullptr || !frame->isMapped) continue;
    all = all.unionWith(shrunk(frame->bounds, between(window.place.visible, window.place.bounds)));
  }
  return all;
}

bool ApplicationWindows::contains(std::uint32_t window) const {
  return std::ranges::find(windows_, window, &CatalogWindow::window) != windows_.end();
}

bool ApplicationWindows::isStale() const {
  if (membership_ != scene_.windows.membership()) return true;
  return std::ranges::any_of(windows_, [this](const auto& window) {
    if (!window.isOnScreen()) return false;
    const TopLevel* frame = scene_.windows.find(window.place.frame);
    return frame == nullptr || frame->bounds.width != window.place.bounds.width ||
           frame->bounds.height != window.place.bounds.height;
  });
}

void ApplicationWindows::read() {
  membership_ = scene_.windows.membership();
  // A change before a window's events were selected was not reported, so new windows are read twice.
  bool hasNew = true;
  for (int round = 0; round < 2 && hasNew; ++round) {
    auto windows = readOrdinaryWindows(connection_, pid_);
    hasNew = std::ranges::any_of(windows, [this](const auto& window) { return !contains(window.window); });
    for (const auto& window : windows) scene_.watch.add(window.window);
    unwatch();
    windows_ = std::move(windows);
  }
}

void ApplicationWindows::unwatch() {
  for (const auto& window : windows_) scene_.watch.remove(window.window);
}

}  // namespace quorl
