// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/TopLevels.h>

#include <algorithm>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::uint32_t rootEvents = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;

template <class Event>
const Event& as(const void* event) {
  return *static_cast<const Event*>(event);
}

PixelRect outerBounds(int x, int y, int width, int height, int border) {
  return {x, y, width + 2 * border, height + 2 * border};
}

}  // namespace

TopLevels::TopLevels(X11Connection& connection) : connection_(connection) {
  connection_.selectRootEvents(rootEvents);
  read();
}

TopLevels::~TopLevels() {
  connection_.unselectRootEvents(rootEvents);
}

void TopLevels::read() {
  xcb_connection_t* xcb = connection_.xcb();
  const auto cookie = xcb_query_tree(xcb, connection_.root());
  firstEvent_ = cookie.sequence;
  const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(xcb, cookie, nullptr));
  if (!tree) return;
  const auto* children = xcb_query_tree_children(tree.get());
  const auto count = static_cast<std::size_t>(xcb_query_tree_children_length(tree.get()));
  std::vector<std::pair<xcb_get_geometry_cookie_t, xcb_get_window_attributes_cookie_t>> cookies;
  cookies.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    cookies.emplace_back(xcb_get_geometry(xcb, children[i]), xcb_get_window_attributes(xcb, children[i]));
  }
  for (std::size_t i = 0; i < count; ++i) {
    const XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(xcb, cookies[i].first, nullptr));
    const XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(xcb, cookies[i].second, nullptr));
    if (!geometry || !attributes) continue;
    add({.window = children[i],
         .bounds =
             outerBounds(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width),
         .borderWidth = geometry->border_width,
         .isMapped = attributes->map_state != XCB_MAP_STATE_UNMAPPED});
  }
}

void TopLevels::handle(const void* event) {
  const auto& generic = as<xcb_generic_event_t>(event);
  // Any program may send such an event itself (ICCCM 4.1.4 requires it for a withdrawal). Only the server's
  // own count. Those from before the reading are part of what was read.
  const bool isSentByAProgram = (generic.response_type & 0x80) != 0;
  const bool isOld = static_cast<std::int32_t>(generic.full_sequence - firstEvent_) < 0;
  if (isSentByAProgram || isOld) return;
  const std::uint32_t root = connection_.root();
  switch (generic.response_type) {
    case XCB_CREATE_NOTIFY: {
      const auto& made = as<xcb_create_notify_event_t>(event);
      if (made.parent != root) return;
      return add({.window = made.window,
                  .bounds = outerBounds(made.x, made.y, made.width, made.height, made.border_width),
                  .borderWidth = made.border_width});
    }
    case XCB_DESTROY_NOTIFY:
      return remove(as<xcb_destroy_notify_event_t>(event).window);
    case XCB_MAP_NOTIFY: {
      const auto& mapped = as<xcb_map_notify_event_t>(event);
      if (mapped.event == root) setMapped(mapped.window, true);
      return;
    }
    case XCB_UNMAP_NOTIFY: {
      const auto& unmapped = as<xcb_unmap_notify_event_t>(event);
      if (unmapped.event == root) setMapped(unmapped.window, false);
      return;
    }
    case XCB_CONFIGURE_NOTIFY: {
      const auto& changed = as<xcb_configure_notify_event_t>(event);
      if (changed.event != root) return;
      configure(changed.window,
                outerBounds(changed.x, changed.y, changed.width, changed.height, changed.border_width),
                changed.border_width);
      return restack(changed.window, changed.above_sibling);
    }
    case XCB_GRAVITY_NOTIFY: {
      const auto& moved = as<xcb_gravity_notify_event_t>(event);
      const auto known = position(moved.window);
      if (moved.event != root || known == stack_.end()) return;
      return configure(moved.window, {moved.x, moved.y, known->bounds.width, known->bounds.height},
                       known->borderWidth);
    }
    case XCB_CIRCULATE_NOTIFY: {
      const auto& circulated = as<xcb_circulate_notify_event_t>(event);
      return raiseOrLower(circulated.window, circulated.place == XCB_PLACE_ON_TOP);
    }
    case XCB_REPARENT_NOTIFY: {
      const auto& moved = as<xcb_reparent_notify_event_t>(event);
      if (moved.event == root) reparent(moved.window, moved.parent);
      return;
    }
    case XCB_PROPERTY_NOTIFY: {
      const auto& changed = as<xcb_property_notify_event_t>(event);
      if (changed.window == root) rootPropertyChanged(changed.atom);
      return;
    }
    default:
      return;
  }
}

const TopLevel* TopLevels::find(std::uint32_t window) const {
  const auto found = std::ranges::find(stack_, window, &TopLevel::window);
  return found == stack_.end() ? nullptr : &*found;
}

const WindowOwner* TopLevels::owner(std::uint32_t window) {
  if (const auto known = owners_.find(window); known != owners_.end()) return &known->second;
  const auto owner = readWindowOwner(connection_, window);
  if (!owner) return nullptr;
  return &owners_.emplace(window, *owner).first->second;
}

std::vector<TopLevel> TopLevels::covers(std::uint32_t window) {
  std::vector<TopLevel> result;
  const auto covered = position(window);
  if (covered == stack_.end()) return result;
  for (auto above = covered + 1; above != stack_.end(); ++above) {
    if (!above->isMapped || above->bounds.intersectionWith(covered->bounds).isEmpty()) continue;
    const WindowOwner* drawing = owner(above->window);
    if (drawing != nullptr && drawing->isDrawn) result.push_back(*above);
  }
  return result;
}

const ClientWindow* TopLevels::findClient(std::uint32_t client) const {
  for (const auto& [window, owner] : owners_) {
    if (owner.client.window == client) return &owner.client;
  }
  return nullptr;
}

std::vector<TopLevel>::iterator TopLevels::position(std::uint32_t window) {
  return std::ranges::find(stack_, window, &TopLevel::window);
}

void TopLevels::add(TopLevel added) {
  if (position(added.window) != stack_.end()) return;
  added.pixmap = ++lastPixmap_;
  stack_.push_back(added);
  membershipChanged();
}

void TopLevels::remove(std::uint32_t window) {
  owners_.erase(window);
  const auto found = position(window);
  if (found == stack_.end()) return;
  stack_.erase(found);
  membershipChanged();
}

void TopLevels::reparent(std::uint32_t window, std::uint32_t parent) {
  remove(window);
  membershipChanged();
  // A frame has received its window; it may be a level further up than the new parent.
  if (parent != connection_.root()) return owners_.clear();
  const XcbReply<xcb_get_geometry_reply_t> geometry(
      xcb_get_geometry_reply(connection_.xcb(), xcb_get_geometry(connection_.xcb(), window), nullptr));
  if (!geometry) return;
  add({.window = window,
       .bounds =
           outerBounds(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width),
       .borderWidth = geometry->border_width});
}

void TopLevels::setMapped(std::uint32_t window, bool isMapped) {
  const auto found = position(window);
  if (found == stack_.end()) return;
  found->isMapped = isMapped;
  if (isMapped) {
    found->pixmap = ++lastPixmap_;
    owners_.erase(window);
  }
  membershipChanged();
}

void TopLevels::configure(std::uint32_t window, const PixelRect& bounds, int borderWidth) {
  const auto found = position(window);
  if (found == stack_.end()) return;
  if (bounds.width != found->bounds.width || bounds.height != found->bounds.height) {
    found->pixmap = ++lastPixmap_;
  }
  found->bounds = bounds;
  found->borderWidth = borderWidth;
  ++generation_;
}

void TopLevels::restack(std::uint32_t window, std::uint32_t below) {
  const auto found = position(window);
  if (found == stack_.end()) return;
  const TopLevel moved = *found;
  stack_.erase(found);
  auto place = stack_.begin();
  if (below != XCB_NONE) {
    const auto sibling = position(below);
    place = sibling == stack_.end() ? sibling : sibling + 1;
  }
  stack_.insert(place, moved);
  ++generation_;
}

void TopLevels::raiseOrLower(std::uint32_t window, bool isRaised) {
  const auto found = position(window);
  if (found == stack_.end()) return;
  const TopLevel moved = *found;
  stack_.erase(found);
  stack_.insert(isRaised ? stack_.end() : stack_.begin(), moved);
  ++generation_;
}

// The list of windows follows a map, and ends or begins with the window manager (Extended Window Manager
// Hints 1.5).
void TopLevels::rootPropertyChanged(std::uint32_t property) {
  if (property == connection_.atom("_NET_CLIENT_LIST") ||
      property == connection_.atom("_NET_CLIENT_LIST_STACKING") ||
      property == connection_.atom("_NET_SUPPORTING_WM_CHECK"))
    membershipChanged();
}

void TopLevels::membershipChanged() {
  ++membership_;
  ++generation_;
}

}  // namespace quorl
