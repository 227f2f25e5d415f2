// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/FocusProbe.h>

#include <algorithm>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

using Property = XcbReply<xcb_get_property_reply_t>;

Property read(X11Connection& connection, std::uint32_t window, std::uint32_t name) {
  constexpr std::uint32_t longest = 64;  // in 32-bit units
  return Property(xcb_get_property_reply(
      connection.xcb(),
      xcb_get_property(connection.xcb(), 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, longest), nullptr));
}

}  // namespace

void FocusProbe::ask() {
  const std::uint32_t window = activeWindow();
  if (window == 0 || !answersPings(window)) {
    listen(false);
    return;
  }
  listen(true);
  deadline_ = std::chrono::steady_clock::now() + patience;
  xcb_client_message_event_t ping{};
  ping.response_type = XCB_CLIENT_MESSAGE;
  ping.format = 32;
  ping.window = window;
  ping.type = connection_.atom("WM_PROTOCOLS");
  ping.data.data32[0] = connection_.atom("_NET_WM_PING");
  ping.data.data32[1] = ++serial_;
  ping.data.data32[2] = window;
  xcb_send_event(connection_.xcb(), 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&ping));
  xcb_flush(connection_.xcb());
}

void FocusProbe::take(const void* event) {
  const auto& message = *static_cast<const xcb_client_message_event_t*>(event);
  if (!isAwaited_ || (message.response_type & 0x7F) != XCB_CLIENT_MESSAGE || message.format != 32) return;
  if (message.type != connection_.atom("WM_PROTOCOLS") || message.data.data32[1] != serial_) return;
  if (message.data.data32[0] == connection_.atom("_NET_WM_PING")) listen(false);
}

bool FocusProbe::isAnswered() {
  if (isAwaited_ && std::chrono::steady_clock::now() >= deadline_) listen(false);
  return !isAwaited_;
}

std::uint32_t FocusProbe::activeWindow() {
  const auto property = read(connection_, connection_.root(), connection_.atom("_NET_ACTIVE_WINDOW"));
  if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) < 4) return 0;
  return *static_cast<const std::uint32_t*>(xcb_get_property_value(property.get()));
}

bool FocusProbe::answersPings(std::uint32_t window) {
  const auto property = read(connection_, window, connection_.atom("WM_PROTOCOLS"));
  if (!property || property->format != 32) return false;
  const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(property.get()));
  const auto* last = first + xcb_get_property_value_length(property.get()) / 4;
  return std::find(first, last, connection_.atom("_NET_WM_PING")) != last;
}

// Answers arrive as events of the root's children. These are many, so they are selected only while an answer
// is awaited.
void FocusProbe::listen(bool on) {
  isAwaited_ = on;
  if (on) {
    connection_.selectRootEvents(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
  } else {
    connection_.unselectRootEvents(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
  }
}

}  // namespace quorl
