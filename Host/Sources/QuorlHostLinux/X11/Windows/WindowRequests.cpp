// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowRequests.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::uint32_t fromPager = 2;  // source indication
constexpr std::uint32_t northWest = XCB_GRAVITY_NORTH_WEST;
constexpr std::uint32_t removeState = 0;
constexpr std::uint32_t addState = 1;
constexpr std::uint32_t iconicState = 3;

/// Positions are signed, and the protocol carries them as 32 bits without a sign.
std::uint32_t wire(int value) {
  return static_cast<std::uint32_t>(value);
}

}  // namespace

WindowRequests::WindowRequests(X11Connection& connection)
    : connection_(connection), hasWindowManager_(quorl::hasWindowManager(connection)) {}

ConstrainedState WindowRequests::constrainedState(std::uint32_t window) {
  const auto states = readNumbers(connection_, window, "_NET_WM_STATE");
  const auto has = [&](const char* name) {
    const std::uint32_t atom = connection_.atom(name);
    return atom != 0 && std::ranges::find(states, atom) != states.end();
  };
  return {.isFullScreen = has("_NET_WM_STATE_FULLSCREEN"),
          .isMaximisedHorizontally = has("_NET_WM_STATE_MAXIMIZED_HORZ"),
          .isMaximisedVertically = has("_NET_WM_STATE_MAXIMIZED_VERT")};
}

void WindowRequests::release(std::uint32_t window) {
  ask(window, "_NET_WM_STATE", {removeState, connection_.atom("_NET_WM_STATE_FULLSCREEN"), 0, fromPager, 0});
  ask(window, "_NET_WM_STATE",
      {removeState, connection_.atom("_NET_WM_STATE_MAXIMIZED_HORZ"),
       connection_.atom("_NET_WM_STATE_MAXIMIZED_VERT"), fromPager, 0});
}

// Both directions in one message, because some window managers resize after each.
void WindowRequests::constrain(std::uint32_t window, const ConstrainedState& state) {
  const std::uint32_t horizontal =
      state.isMaximisedHorizontally ? connection_.atom("_NET_WM_STATE_MAXIMIZED_HORZ") : 0;
  const std::uint32_t vertical =
      state.isMaximisedVertically ? connection_.atom("_NET_WM_STATE_MAXIMIZED_VERT") : 0;
  if (horizontal != 0 || vertical != 0)
    ask(window, "_NET_WM_STATE",
        {addState, horizontal != 0 ? horizontal : vertical, horizontal != 0 ? vertical : 0, fromPager, 0});
  if (state.isFullScreen)
    ask(window, "_NET_WM_STATE", {addState, connection_.atom("_NET_WM_STATE_FULLSCREEN"), 0, fromPager, 0});
}

void WindowRequests::resize(std::uint32_t window, const WindowPlace& place, PixelSize size) {
  const FrameExtents& padding = place.padding;
  configure(window, {.corner = {},
                     .size = PixelSize{std::max(1, size.width - padding.left - padding.right),
                                       std::max(1, size.height - padding.top - padding.bottom)}});
}

void WindowRequests::move(std::uint32_t window, const WindowPlace& place, RootPosition corner) {
  configure(window,
            {.corner = RootPosition{corner.x - place.frameOffset.width, corner.y - place.frameOffset.height},
             .size = {}});
}

void WindowRequests::configure(std::uint32_t window, const Geometry& geometry) {
  const auto supported = readNumbers(connection_, connection_.root(), "_NET_SUPPORTED");
  const bool isSupported =
      std::ranges::find(supported, connection_.atom("_NET_MOVERESIZE_WINDOW")) != supported.end();
  if (!hasWindowManager_ || !isSupported) return configureDirectly(window, geometry);
  constexpr std::uint32_t corner = 1U << 8 | 1U << 9;  // x and y are given
  constexpr std::uint32_t size = 1U << 10 | 1U << 11;  // width and height are given
  const std::uint32_t given = (geometry.corner ? corner : 0) | (geometry.size ? size : 0);
  const RootPosition position = geometry.corner.value_or(RootPosition{});
  const PixelSize wanted = geometry.size.value_or(PixelSize{});
  ask(window, "_NET_MOVERESIZE_WINDOW",
      {northWest | given | fromPager << 12, wire(position.x), wire(position.y), wire(wanted.width),
       wire(wanted.height)});
}

// A window manager that does not follow the hints receives this as the window's own request.
void WindowRequests::configureDirectly(std::uint32_t window, const Geometry& geometry) {
  if (geometry.corner) {
    const std::array values{wire(geometry.corner->x), wire(geometry.corner->y)};
    xcb_configure_window(connection_.xcb(), window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values.data());
  }
  if (geometry.size) {
    const std::array values{wire(geometry.size->width), wire(geometry.size->height)};
    xcb_configure_window(connection_.xcb(), window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
  }
}

bool WindowRequests::isMinimized(std::uint32_t window) {
  const auto states = readNumbers(connection_, window, "_NET_WM_STATE");
  return areStatesMinimized(connection_, states);
}

void WindowRequests::minimize(std::uint32_t window) {
  ask(window, "WM_CHANGE_STATE", {iconicState, 0, 0, 0, 0});
}

void WindowRequests::bringForward(std::uint32_t window) {
  xcb_connection_t* xcb = connection_.xcb();
  xcb_map_window(xcb, window);
  if (hasWindowManager_) return ask(window, "_NET_ACTIVE_WINDOW", {fromPager, XCB_CURRENT_TIME, 0, 0, 0});
  const std::uint32_t above = XCB_STACK_MODE_ABOVE;
  xcb_configure_window(xcb, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  xcb_set_input_focus(xcb, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
}

std::uint32_t WindowRequests::activeWindow() {
  if (hasWindowManager_) {
    const auto active = readNumbers(connection_, connection_.root(), "_NET_ACTIVE_WINDOW");
    return active.empty() ? 0 : active.front();
  }
  xcb_connection_t* xcb = connection_.xcb();
  const XcbReply<xcb_get_input_focus_reply_t> focus(
      xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
  const bool isWindow =
      focus && focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT && focus->focus != connection_.root();
  return isWindow ? focus->focus : 0;
}

void WindowRequests::watch(std::uint32_t window) {
  select(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
  connection_.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void WindowRequests::unwatch(std::uint32_t window) {
  select(window, XCB_EVENT_MASK_NO_EVENT);
  connection_.unselectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void WindowRequests::ask(std::uint32_t window, const char* message,
                         const std::array<std::uint32_t, 5>& data) {
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window;
  event.type = connection_.atom(message);
  std::ranges::copy(data, event.data.data32);
  xcb_send_event(connection_.xcb(), 0, connection_.root(),
                 XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&event));
}

void WindowRequests::select(std::uint32_t window, std::uint32_t events) {
  xcb_change_window_attributes(connection_.xcb(), window, XCB_CW_EVENT_MASK, &events);
}

}  // namespace quorl
