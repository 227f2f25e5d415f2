// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowPlaces.h>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

// A hostile client may make a deep tree; a window manager does not.
constexpr int deepestFrame = 16;

/// The search for one window. Every step sends its requests before the next search takes its replies.
class PlaceSearch {
 public:
  PlaceSearch(X11Connection& connection, std::uint32_t window)
      : connection_(connection),
        window_(window),
        frame_(window),
        attributes_(xcb_get_window_attributes(connection.xcb(), window)),
        geometry_(xcb_get_geometry(connection.xcb(), window)),
        position_(xcb_translate_coordinates(connection.xcb(), window, connection.root(), 0, 0)),
        decoration_(extents("_NET_FRAME_EXTENTS")),
        shadow_(extents("_GTK_FRAME_EXTENTS")) {}

  void askParent() {
    if (!isClimbing_) return;
    parent_ = xcb_query_tree(connection_.xcb(), frame_);
  }
  /// Returns whether the search goes on.
  bool climb() {
    if (!isClimbing_) return false;
    const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection_.xcb(), parent_, nullptr));
    isGone_ = isGone_ || !tree;
    isClimbing_ = !isGone_ && tree->parent != connection_.root() && tree->parent != XCB_NONE;
    if (isClimbing_) frame_ = tree->parent;
    return isClimbing_;
  }
  void askFrame() { frameGeometry_ = xcb_get_geometry(connection_.xcb(), frame_); }

  std::optional<WindowPlace> take() {
    xcb_connection_t* xcb = connection_.xcb();
    const XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(xcb, attributes_, nullptr));
    const XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(xcb, geometry_, nullptr));
    const XcbReply<xcb_translate_coordinates_reply_t> position(
        xcb_translate_coordinates_reply(xcb, position_, nullptr));
    const auto decoration = frameExtentsOf(decoration_.takeNumbers());
    const auto shadow = frameExtentsOf(shadow_.takeNumbers());
    const XcbReply<xcb_get_geometry_reply_t> frame(xcb_get_geometry_reply(xcb, frameGeometry_, nullptr));
    if (isGone_ || isClimbing_ || !attributes || !geometry || !position || !frame) return std::nullopt;
    WindowPlace place{.frame = frame_};
    // The frame is a child of the root, so its position is that of its outer corner on the root.
    place.borderWidth = frame->border_width;
    place.bounds = {frame->x, frame->y, frame->width + 2 * frame->border_width,
                    frame->height + 2 * frame->border_width};
    place.isViewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    const WindowOutline outline =
        outlineOf({.client = {position->dst_x, position->dst_y, geometry->width, geometry->height},
                   .frame = place.bounds,
                   .isFramed = frame_ != window_,
                   .isViewable = place.isViewable,
                   .decoration = decoration,
                   .shadow = shadow});
    place.visible = outline.visible;
    place.padding = outline.padding;
    place.frameOffset = outline.frameOffset;
    return place;
  }

 private:
  PropertyRequest extents(const char* name) { return {connection_, window_, connection_.atom(name), 5}; }

  X11Connection& connection_;
  std::uint32_t window_;
  std::uint32_t frame_;
  bool isClimbing_ = true;
  bool isGone_ = false;
  xcb_get_window_attributes_cookie_t attributes_;
  xcb_get_geometry_cookie_t geometry_;
  xcb_translate_coordinates_cookie_t position_;
  PropertyRequest decoration_, shadow_;
  xcb_query_tree_cookie_t parent_{};
  xcb_get_geometry_cookie_t frameGeometry_{};
};

}  // namespace

std::vector<std::optional<WindowPlace>> findPlaces(X11Connection& connection,
                                                   const std::vector<std::uint32_t>& windows) {
  std::vector<PlaceSearch> searches;
  searches.reserve(windows.size());
  for (const auto window : windows) searches.emplace_back(connection, window);
  bool isClimbing = true;
  for (int depth = 0; isClimbing && depth < deepestFrame; ++depth) {
    for (auto& search : searches) search.askParent();
    isClimbing = false;
    for (auto& search : searches) isClimbing = search.climb() || isClimbing;
  }
  for (auto& search : searches) search.askFrame();
  std::vector<std::optional<WindowPlace>> places;
  for (auto& search : searches) places.push_back(search.take());
  return places;
}

}  // namespace quorl
