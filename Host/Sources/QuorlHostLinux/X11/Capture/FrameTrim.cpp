// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/FrameTrim.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

/// In pixels. No window is larger (X11 protocol: 16-bit sizes).
constexpr std::uint32_t largestExtent = 32'767;

/// The widths of the shadow at the left, right, top and bottom; zeros when there is none.
std::array<int, 4> readShadow(X11Connection& connection, std::uint32_t window) {
  std::array<std::uint32_t, 4> extents{};
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection.xcb(),
      xcb_get_property(connection.xcb(), 0, window, connection.atom("_GTK_FRAME_EXTENTS"), XCB_ATOM_CARDINAL,
                       0, extents.size()),
      nullptr));
  const auto length = static_cast<int>(sizeof extents);
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) != length) return {};
  std::memcpy(extents.data(), xcb_get_property_value(reply.get()), sizeof extents);
  if (std::ranges::any_of(extents, [](auto extent) { return extent > largestExtent; })) return {};
  std::array<int, 4> result{};
  std::ranges::transform(extents, result.begin(), [](auto extent) { return static_cast<int>(extent); });
  return result;
}

}  // namespace

FrameTrim readFrameTrim(X11Connection& connection, std::uint32_t window, std::uint32_t frame) {
  const auto [left, right, top, bottom] = readShadow(connection, window);
  if (left == 0 && right == 0 && top == 0 && bottom == 0) return {};
  xcb_connection_t* xcb = connection.xcb();
  const auto placeCookie = xcb_translate_coordinates(xcb, window, frame, 0, 0);
  const auto innerCookie = xcb_get_geometry(xcb, window);
  const auto outerCookie = xcb_get_geometry(xcb, frame);
  const XcbReply<xcb_translate_coordinates_reply_t> place(
      xcb_translate_coordinates_reply(xcb, placeCookie, nullptr));
  const XcbReply<xcb_get_geometry_reply_t> inner(xcb_get_geometry_reply(xcb, innerCookie, nullptr));
  const XcbReply<xcb_get_geometry_reply_t> outer(xcb_get_geometry_reply(xcb, outerCookie, nullptr));
  if (!place || !inner || !outer) return {};
  const int border = outer->border_width;
  return {.left = place->dst_x + border + left,
          .right = outer->width + border - place->dst_x - inner->width + right,
          .top = place->dst_y + border + top,
          .bottom = outer->height + border - place->dst_y - inner->height + bottom};
}

PixelRect trimmed(const PixelRect& bounds, const FrameTrim& trim) {
  const PixelRect rest{bounds.x + trim.left, bounds.y + trim.top, bounds.width - trim.left - trim.right,
                       bounds.height - trim.top - trim.bottom};
  return rest.isEmpty() ? bounds : rest.intersectionWith(bounds);
}

}  // namespace quorl
