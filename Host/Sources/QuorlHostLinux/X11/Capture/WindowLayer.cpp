// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/WindowLayer.h>

#include <utility>

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

PixelRect innerOrigin(const TopLevel& window) {
  return {window.bounds.x + window.borderWidth, window.bounds.y + window.borderWidth, 0, 0};
}

/// The parts of a window under the covers, as a region in the window's coordinates.
std::uint32_t makeCoveredRegion(xcb_connection_t* xcb, const TopLevel& window,
                                std::span<const TopLevel> covers) {
  const std::uint32_t result = xcb_generate_id(xcb);
  const std::uint32_t form = xcb_generate_id(xcb);
  xcb_xfixes_create_region(xcb, result, 0, nullptr);
  const PixelRect origin = innerOrigin(window);
  for (const auto& cover : covers) {
    const std::uint32_t part = xcb_generate_id(xcb);
    const PixelRect other = innerOrigin(cover);
    xcb_xfixes_create_region_from_window(xcb, part, cover.window, XCB_SHAPE_SK_BOUNDING);
    xcb_xfixes_translate_region(xcb, part, static_cast<std::int16_t>(other.x - origin.x),
                                static_cast<std::int16_t>(other.y - origin.y));
    xcb_xfixes_union_region(xcb, result, part, result);
    xcb_xfixes_destroy_region(xcb, part);
  }
  xcb_xfixes_create_region_from_window(xcb, form, window.window, XCB_SHAPE_SK_BOUNDING);
  xcb_xfixes_intersect_region(xcb, result, form, result);
  xcb_xfixes_destroy_region(xcb, form);
  return result;
}

}  // namespace

WindowLayer::WindowLayer(X11Connection& connection, const TopLevel& window, RenderFormats::Format format,
                         std::span<const TopLevel> covers)
    : connection_(connection), window_(window.window), format_(format), damage_(connection, window.window) {
  redirect(window, covers);
}

// The server gives the new pixmap the pixels of the screen, also where other windows are. Then it has the
// window draw what was covered, but a program may take its time. Those pixels are foreign until the damage
// watch, which comes first, has seen the window draw there.
void WindowLayer::redirect(const TopLevel& window, std::span<const TopLevel> covers) {
  xcb_connection_t* xcb = connection_.xcb();
  xcb_grab_server(xcb);
  // A window that is redirected already, for a compositor or another stream, has a pixmap of its own.
  const std::uint32_t probe = xcb_generate_id(xcb);
  const XcbReply<xcb_generic_error_t> hasNone(
      xcb_request_check(xcb, xcb_composite_name_window_pixmap_checked(xcb, window_, probe)));
  damage_.skip();
  if (!hasNone) {
    xcb_free_pixmap(xcb, probe);
  } else if (!covers.empty()) {
    foreign_ = makeCoveredRegion(xcb, window, covers);
  }
  xcb_composite_redirect_window(xcb, window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
  xcb_ungrab_server(xcb);
}

WindowLayer::~WindowLayer() {
  release();
  if (foreign_ != 0) xcb_xfixes_destroy_region(connection_.xcb(), foreign_);
  xcb_composite_unredirect_window(connection_.xcb(), window_, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

DirtyRegion WindowLayer::takeDamage() {
  if (foreign_ == 0) return damage_.take();
  xcb_connection_t* xcb = connection_.xcb();
  DirtyRegion taken = damage_.takeFrom(foreign_);
  const XcbReply<xcb_xfixes_fetch_region_reply_t> rest(
      xcb_xfixes_fetch_region_reply(xcb, xcb_xfixes_fetch_region(xcb, foreign_), nullptr));
  if (!rest || xcb_xfixes_fetch_region_rectangles_length(rest.get()) == 0) {
    xcb_xfixes_destroy_region(xcb, std::exchange(foreign_, 0));
  }
  return taken;
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
