// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/WindowLayer.h>

#include <utility>

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

// The damage watch comes first: the redirection draws what was covered, and that is reported too.
WindowLayer::WindowLayer(X11Connection& connection, std::uint32_t window, RenderFormats::Format format)
    : connection_(connection), window_(window), format_(format), damage_(connection, window) {
  xcb_composite_redirect_window(connection_.xcb(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

WindowLayer::~WindowLayer() {
  release();
  xcb_composite_unredirect_window(connection_.xcb(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

bool WindowLayer::renew(int borderWidth) {
  xcb_connection_t* xcb = connection_.xcb();
  const std::uint32_t pixmap = xcb_generate_id(xcb);
  const std::uint32_t shape = xcb_generate_id(xcb);
  // The window may go at any of these. Errors arrive as events, which no one takes.
  xcb_composite_name_window_pixmap(xcb, window_, pixmap);
  const auto sizeCookie = xcb_get_geometry(xcb, pixmap);
  xcb_xfixes_create_region_from_window(xcb, shape, window_, XCB_SHAPE_SK_BOUNDING);
  const auto shapeCookie = xcb_xfixes_fetch_region(xcb, shape);
  // The size of the pixmap counts, not that of the last event: a newer event may be pending.
  const XcbReply<xcb_get_geometry_reply_t> size(xcb_get_geometry_reply(xcb, sizeCookie, nullptr));
  const XcbReply<xcb_xfixes_fetch_region_reply_t> form(
      xcb_xfixes_fetch_region_reply(xcb, shapeCookie, nullptr));
  if (!size || !form) {
    if (size) xcb_free_pixmap(xcb, pixmap);
    if (form) xcb_xfixes_destroy_region(xcb, shape);
    return false;
  }
  release();
  pixmap_ = pixmap;
  shape_ = shape;
  size_ = {size->width, size->height};
  borderWidth_ = borderWidth;
  const auto& extents = form->extents;
  isShaped_ = xcb_xfixes_fetch_region_rectangles_length(form.get()) != 1 || extents.width < size_.width ||
              extents.height < size_.height;
  return true;
}

std::uint32_t WindowLayer::picture() {
  if (picture_ == 0 && pixmap_ != 0) {
    picture_ = xcb_generate_id(connection_.xcb());
    xcb_render_create_picture(connection_.xcb(), picture_, pixmap_, format_.id, 0, nullptr);
  }
  return picture_;
}

void WindowLayer::release() {
  xcb_connection_t* xcb = connection_.xcb();
  if (const auto picture = std::exchange(picture_, 0); picture != 0) xcb_render_free_picture(xcb, picture);
  if (const auto shape = std::exchange(shape_, 0); shape != 0) xcb_xfixes_destroy_region(xcb, shape);
  if (const auto pixmap = std::exchange(pixmap_, 0); pixmap != 0) xcb_free_pixmap(xcb, pixmap);
}

}  // namespace quorl
