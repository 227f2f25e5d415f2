// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

#include <algorithm>
#include <cstring>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

// Extended Window Manager Hints 1.5 and the Inter-Client Communication Conventions Manual 2.0 name the
// properties read here.

constexpr std::uint32_t longestProperty = 16'384;  // in 32-bit units; titles are cut there

using Property = XcbReply<xcb_get_property_reply_t>;

struct PropertyRequest {
  xcb_get_property_cookie_t cookie;
  Property take(xcb_connection_t* xcb) const {
    return Property(xcb_get_property_reply(xcb, cookie, nullptr));
  }
};

PropertyRequest ask(X11Connection& connection, std::uint32_t window, std::uint32_t property) {
  return {
      xcb_get_property(connection.xcb(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, longestProperty)};
}

std::string textOf(const Property& property) {
  if (!property || property->format != 8) return {};
  return {static_cast<const char*>(xcb_get_property_value(property.get())),
          static_cast<std::size_t>(xcb_get_property_value_length(property.get()))};
}

std::vector<std::uint32_t> numbersOf(const Property& property) {
  if (!property || property->format != 32) return {};
  std::vector<std::uint32_t> numbers(static_cast<std::size_t>(xcb_get_property_value_length(property.get())) /
                                     4);
  if (!numbers.empty())
    std::memcpy(numbers.data(), xcb_get_property_value(property.get()), numbers.size() * 4);
  return numbers;
}

std::string latin1ToUTF8(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      result.push_back(c);
    } else {
      result.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      result.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
  }
  return result;
}

/// WM_CLASS contains two texts, instance and class, each terminated by a zero.
std::string classOf(const std::string& wmClass) {
  const auto first = wmClass.find('\0');
  if (first == std::string::npos) return wmClass;
  return wmClass.substr(first + 1, wmClass.find('\0', first + 1) - first - 1);
}

std::int32_t pidFromResource(X11Connection& connection, std::uint32_t window) {
  if (!connection.extensions().resource.present) return 0;
  const xcb_res_client_id_spec_t which{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
  const XcbReply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
      connection.xcb(), xcb_res_query_client_ids(connection.xcb(), 1, &which), nullptr));
  if (!reply) return 0;
  for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
       xcb_res_client_id_value_next(&each)) {
    if ((each.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) == 0) continue;
    if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
    return static_cast<std::int32_t>(*xcb_res_client_id_value_value(each.data));
  }
  return 0;
}

class Reader {
 public:
  explicit Reader(X11Connection& connection) : connection_(connection) {}

  std::vector<std::uint32_t> windows() {
    auto listed = numbersOf(property(connection_.root(), "_NET_CLIENT_LIST_STACKING"));
    if (!listed.empty()) {
      std::ranges::reverse(listed);
      return listed;
    }
    return rootChildren();
  }

  std::optional<CatalogWindow> read(std::uint32_t window) {
    xcb_connection_t* xcb = connection_.xcb();
    const auto name = ask(connection_, window, connection_.atom("_NET_WM_NAME"));
    const auto oldName = ask(connection_, window, XCB_ATOM_WM_NAME);
    const auto wmClass = ask(connection_, window, XCB_ATOM_WM_CLASS);
    const auto pid = ask(connection_, window, connection_.atom("_NET_WM_PID"));
    const auto state = ask(connection_, window, connection_.atom("_NET_WM_STATE"));
    const auto types = ask(connection_, window, connection_.atom("_NET_WM_WINDOW_TYPE"));
    CatalogWindow result;
    result.window = window;
    result.title = textOf(name.take(xcb));
    const std::string oldTitle = textOf(oldName.take(xcb));
    if (result.title.empty()) result.title = isValidUTF8(oldTitle) ? oldTitle : latin1ToUTF8(oldTitle);
    result.title = repairedUTF8(result.title);
    result.className = repairedUTF8(classOf(textOf(wmClass.take(xcb))));
    const auto pids = numbersOf(pid.take(xcb));
    result.isRegular = isRegular(numbersOf(state.take(xcb)), numbersOf(types.take(xcb)));
    result.pid =
        pids.empty() ? pidFromResource(connection_, window) : static_cast<std::int32_t>(pids.front());
    const auto place = findPlace(connection_, window);
    if (!place) return std::nullopt;
    result.place = *place;
    return result;
  }

 private:
  Property property(std::uint32_t window, const char* name) {
    return ask(connection_, window, connection_.atom(name)).take(connection_.xcb());
  }

  std::vector<std::uint32_t> rootChildren() {
    xcb_connection_t* xcb = connection_.xcb();
    const XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(xcb, xcb_query_tree(xcb, connection_.root()), nullptr));
    if (!tree) return {};
    std::vector<std::uint32_t> children(
        xcb_query_tree_children(tree.get()),
        xcb_query_tree_children(tree.get()) + xcb_query_tree_children_length(tree.get()));
    std::ranges::reverse(children);
    std::erase_if(children, [&](std::uint32_t child) {
      const XcbReply<xcb_get_window_attributes_reply_t> attributes(
          xcb_get_window_attributes_reply(xcb, xcb_get_window_attributes(xcb, child), nullptr));
      return !attributes || attributes->override_redirect != 0 ||
             attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
             attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY;
    });
    return children;
  }

  bool isRegular(const std::vector<std::uint32_t>& states, const std::vector<std::uint32_t>& types) {
    const auto skipped = connection_.atom("_NET_WM_STATE_SKIP_TASKBAR");
    if (std::ranges::find(states, skipped) != states.end()) return false;
    return types.empty() || std::ranges::any_of(types, [&](std::uint32_t type) {
             return type == connection_.atom("_NET_WM_WINDOW_TYPE_NORMAL") ||
                    type == connection_.atom("_NET_WM_WINDOW_TYPE_DIALOG");
           });
  }

  X11Connection& connection_;
};

}  // namespace

std::vector<CatalogWindow> readWindows(X11Connection& connection) {
  Reader reader(connection);
  std::vector<CatalogWindow> result;
  for (const auto window : reader.windows()) {
    if (auto entry = reader.read(window)) result.push_back(std::move(*entry));
  }
  return result;
}

std::optional<WindowPlace> findPlace(X11Connection& connection, std::uint32_t window) {
  xcb_connection_t* xcb = connection.xcb();
  WindowPlace place{.frame = window};
  // A hostile client may make a deep tree; a window manager does not.
  constexpr int deepest = 16;
  for (int depth = 0;; ++depth) {
    const XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(xcb, xcb_query_tree(xcb, place.frame), nullptr));
    if (!tree || depth == deepest) return std::nullopt;
    if (tree->parent == connection.root() || tree->parent == XCB_NONE) break;
    place.frame = tree->parent;
  }
  const auto attributesCookie = xcb_get_window_attributes(xcb, window);
  const auto geometryCookie = xcb_get_geometry(xcb, place.frame);
  const XcbReply<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(xcb, attributesCookie, nullptr));
  const XcbReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(xcb, geometryCookie, nullptr));
  if (!attributes || !geometry) return std::nullopt;
  // The frame is a child of the root, so its position is that of its outer corner on the root.
  place.borderWidth = geometry->border_width;
  place.bounds = {geometry->x, geometry->y, geometry->width + 2 * geometry->border_width,
                  geometry->height + 2 * geometry->border_width};
  place.isViewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
  return place;
}

}  // namespace quorl
