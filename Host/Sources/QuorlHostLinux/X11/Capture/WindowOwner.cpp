// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/WindowOwner.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

// The Inter-Client Communication Conventions Manual 2.0 defines the properties read here, except _NET_WM_PID
// (Extended Window Manager Hints 1.5).

xcb_get_property_cookie_t askNumbers(X11Connection& connection, std::uint32_t window, std::uint32_t property,
                                     std::uint32_t count) {
  return xcb_get_property(connection.xcb(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, count);
}

/// The number at `index` of a property of 32-bit numbers, or 0.
std::uint32_t takeNumber(X11Connection& connection, xcb_get_property_cookie_t cookie, std::size_t index = 0) {
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection.xcb(), cookie, nullptr));
  if (!reply || reply->format != 32) return 0;
  if (static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) < (index + 1) * 4) return 0;
  std::uint32_t number = 0;
  std::memcpy(&number, static_cast<const char*>(xcb_get_property_value(reply.get())) + index * 4, 4);
  return number;
}

std::int32_t takePid(X11Connection& connection, xcb_res_query_client_ids_cookie_t cookie) {
  const XcbReply<xcb_res_query_client_ids_reply_t> reply(
      xcb_res_query_client_ids_reply(connection.xcb(), cookie, nullptr));
  if (!reply) return 0;
  for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
       xcb_res_client_id_value_next(&each)) {
    if ((each.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) == 0) continue;
    if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
    return static_cast<std::int32_t>(*xcb_res_client_id_value_value(each.data));
  }
  return 0;
}

/// The upper bits of an id name the connection that made the window.
bool isOfOneConnection(X11Connection& connection, std::uint32_t a, std::uint32_t b) {
  const std::uint32_t mask = xcb_get_setup(connection.xcb())->resource_id_mask;
  return (a & ~mask) == (b & ~mask);
}

std::vector<std::uint32_t> childrenOf(X11Connection& connection, const std::vector<std::uint32_t>& parents) {
  std::vector<xcb_query_tree_cookie_t> cookies;
  cookies.reserve(parents.size());
  for (const auto parent : parents) cookies.push_back(xcb_query_tree(connection.xcb(), parent));
  std::vector<std::uint32_t> children;
  for (const auto cookie : cookies) {
    const XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.xcb(), cookie, nullptr));
    if (!tree) continue;
    const auto* first = xcb_query_tree_children(tree.get());
    children.insert(children.end(), first, first + xcb_query_tree_children_length(tree.get()));
  }
  return children;
}

/// The first window that its window manager has given a WM_STATE, which only programs' windows have.
std::uint32_t findManaged(X11Connection& connection, const std::vector<std::uint32_t>& windows) {
  const std::uint32_t state = connection.atom("WM_STATE");
  std::vector<xcb_get_property_cookie_t> cookies;
  cookies.reserve(windows.size());
  for (const auto window : windows) cookies.push_back(askNumbers(connection, window, state, 1));
  std::uint32_t found = 0;
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const XcbReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection.xcb(), cookies[i], nullptr));
    if (found == 0 && reply && reply->type != XCB_NONE) found = windows[i];
  }
  return found;
}

/// The program's window in a frame. A window manager may not have set WM_STATE yet, but the window in its
/// frame is another connection's.
std::uint32_t findClient(X11Connection& connection, std::uint32_t frame) {
  constexpr int deepest = 3;               // frames have one or two levels
  constexpr std::size_t mostWindows = 64;  // a frame has a dozen, of buttons and edges
  std::vector<std::uint32_t> level{frame};
  std::uint32_t foreign = 0;
  for (int depth = 0; depth <= deepest && !level.empty(); ++depth) {
    if (level.size() > mostWindows) level.resize(mostWindows);
    if (const auto managed = findManaged(connection, level); managed != 0) return managed;
    for (const auto window : level)
      if (foreign == 0 && !isOfOneConnection(connection, window, frame)) foreign = window;
    level = childrenOf(connection, level);
  }
  return foreign != 0 ? foreign : frame;
}

}  // namespace

std::optional<ClientWindow> readClientWindow(X11Connection& connection, std::uint32_t window) {
  constexpr std::size_t groupInHints = 8;  // the last of nine numbers, valid with flag 64
  constexpr std::uint32_t hasGroup = 64;
  xcb_connection_t* xcb = connection.xcb();
  const bool hasResource = connection.extensions().resource.present;
  xcb_res_query_client_ids_cookie_t ids{};
  if (hasResource) {
    const xcb_res_client_id_spec_t which{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    ids = xcb_res_query_client_ids(xcb, 1, &which);
  }
  const auto pid = askNumbers(connection, window, connection.atom("_NET_WM_PID"), 1);
  const auto leader = askNumbers(connection, window, connection.atom("WM_CLIENT_LEADER"), 1);
  const auto flags = askNumbers(connection, window, XCB_ATOM_WM_HINTS, 1);
  const auto hints = askNumbers(connection, window, XCB_ATOM_WM_HINTS, groupInHints + 1);
  const auto transientFor = askNumbers(connection, window, XCB_ATOM_WM_TRANSIENT_FOR, 1);
  const auto geometry = xcb_get_geometry(xcb, window);
  ClientWindow result{.window = window};
  if (hasResource) result.pid = takePid(connection, ids);
  const auto claimedPid = static_cast<std::int32_t>(takeNumber(connection, pid));
  if (result.pid == 0) result.pid = claimedPid;
  result.leader = takeNumber(connection, leader);
  const bool isInGroup = (takeNumber(connection, flags) & hasGroup) != 0;
  const std::uint32_t group = takeNumber(connection, hints, groupInHints);
  if (result.leader == 0 && isInGroup) result.leader = group;
  result.transientFor = takeNumber(connection, transientFor);
  const XcbReply<xcb_get_geometry_reply_t> exists(xcb_get_geometry_reply(xcb, geometry, nullptr));
  if (!exists) return std::nullopt;
  return result;
}

std::optional<WindowOwner> readWindowOwner(X11Connection& connection, std::uint32_t topLevel) {
  const XcbReply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
      connection.xcb(), xcb_get_window_attributes(connection.xcb(), topLevel), nullptr));
  if (!attributes) return std::nullopt;
  WindowOwner result{.isDrawn = attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT,
                     .isOverrideRedirect = attributes->override_redirect != 0,
                     .visual = attributes->visual};
  // Some window managers mark their frames override-redirect too, so the mark does not end the search. Only
  // a frame contains windows of another connection.
  const auto client = readClientWindow(connection, findClient(connection, topLevel));
  if (!client) return std::nullopt;
  result.client = *client;
  if (client->window != topLevel) result.isOverrideRedirect = false;
  return result;
}

bool belongsOver(const ClientWindow& shown, const WindowOwner& other, std::uint32_t root,
                 const FindClientWindow& find) {
  const ClientWindow& client = other.client;
  if (!other.isDrawn || client.window == shown.window) return false;
  const bool isOfOneGroup = client.leader != 0 && client.leader == shown.leader;
  const bool isOfOneProgram = (client.pid != 0 && client.pid == shown.pid) || isOfOneGroup;
  if (other.isOverrideRedirect && isOfOneProgram) return true;
  if (client.transientFor == root) return isOfOneGroup;
  constexpr int longestChain = 8;  // a dialog of a dialog; a hostile client may make a circle
  std::uint32_t next = client.transientFor;
  for (int i = 0; i < longestChain && next != 0; ++i) {
    if (next == shown.window) return true;
    const ClientWindow* parent = find(next);
    next = parent == nullptr ? 0 : parent->transientFor;
  }
  return false;
}

}  // namespace quorl
