// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

#include <algorithm>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlHostLinux/X11/Windows/WindowPlaces.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

// Extended Window Manager Hints 1.5 and the Inter-Client Communication Conventions Manual 2.0 name the
// properties read here.

// The list is a property that any program can set.
constexpr std::size_t mostWindows = 1'024;

bool contains(const std::vector<std::uint32_t>& values, std::uint32_t value) {
  return std::ranges::find(values, value) != values.end();
}

class ProcessRequest {
 public:
  ProcessRequest(X11Connection& connection, std::uint32_t window) : xcb_(connection.xcb()) {
    const xcb_res_client_id_spec_t which{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    isAsked_ = connection.extensions().resource.present;
    if (isAsked_) cookie_ = xcb_res_query_client_ids(xcb_, 1, &which);
  }

  std::int32_t take() {
    if (!isAsked_) return 0;
    const XcbReply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(xcb_, cookie_, nullptr));
    if (!reply) return 0;
    for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
         xcb_res_client_id_value_next(&each)) {
      if ((each.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) == 0) continue;
      if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
      return static_cast<std::int32_t>(*xcb_res_client_id_value_value(each.data));
    }
    return 0;
  }

 private:
  xcb_connection_t* xcb_;
  bool isAsked_ = false;
  xcb_res_query_client_ids_cookie_t cookie_{};
};

std::int32_t pidOf(const std::vector<std::uint32_t>& property) {
  const auto pid = property.empty() ? 0 : static_cast<std::int32_t>(property.front());
  return std::max(pid, 0);
}

std::vector<std::uint32_t> viewableChildrenOfRoot(X11Connection& connection) {
  xcb_connection_t* xcb = connection.xcb();
  const XcbReply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(xcb, xcb_query_tree(xcb, connection.root()), nullptr));
  if (!tree) return {};
  const std::uint32_t* first = xcb_query_tree_children(tree.get());
  const std::vector<std::uint32_t> children(first, first + xcb_query_tree_children_length(tree.get()));
  std::vector<xcb_get_window_attributes_cookie_t> cookies;
  for (const auto child : children) cookies.push_back(xcb_get_window_attributes(xcb, child));
  std::vector<std::uint32_t> viewable;
  for (std::size_t at = 0; at < children.size(); ++at) {
    const XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(xcb, cookies[at], nullptr));
    if (attributes && attributes->override_redirect == 0 && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
        attributes->_class != XCB_WINDOW_CLASS_INPUT_ONLY)
      viewable.push_back(children[at]);
  }
  return viewable;
}

std::vector<std::uint32_t> managedWindows(X11Connection& connection) {
  std::vector<std::uint32_t> windows;
  if (hasWindowManager(connection)) {
    windows = readNumbers(connection, connection.root(), "_NET_CLIENT_LIST_STACKING");
    if (windows.empty()) windows = readNumbers(connection, connection.root(), "_NET_CLIENT_LIST");
  } else {
    windows = viewableChildrenOfRoot(connection);
  }
  std::ranges::reverse(windows);
  if (windows.size() > mostWindows) windows.resize(mostWindows);
  return windows;
}

/// The requests for one window.
class WindowRequest {
 public:
  WindowRequest(X11Connection& connection, std::uint32_t window)
      : connection_(connection),
        window_(window),
        name_(text("_NET_WM_NAME")),
        olderName_(text(XCB_ATOM_WM_NAME)),
        windowClass_(text(XCB_ATOM_WM_CLASS)),
        gtkApplication_(text("_GTK_APPLICATION_ID")),
        kdeDesktopFile_(text("_KDE_NET_WM_DESKTOP_FILE")),
        pid_(numbers("_NET_WM_PID")),
        state_(numbers("_NET_WM_STATE")),
        types_(numbers("_NET_WM_WINDOW_TYPE")) {}

  CatalogWindow take() {
    CatalogWindow result;
    result.window = window_;
    const std::string name = name_.takeText();
    result.title = boundedTitle(name, olderName_.takeText());
    result.windowClass = parseWindowClass(windowClass_.takeText());
    result.applicationID = boundedTitle(gtkApplication_.takeText(), "");
    const std::string kdeDesktopFile = boundedTitle(kdeDesktopFile_.takeText(), "");
    if (result.applicationID.empty()) result.applicationID = kdeDesktopFile;
    result.pid = pidOf(pid_.takeNumbers());
    const auto states = state_.takeNumbers();
    result.isMinimized = areStatesMinimized(connection_, states);
    result.isInTaskBar = !contains(states, connection_.atom("_NET_WM_STATE_SKIP_TASKBAR"));
    result.kind = windowKindOf(connection_, types_.takeNumbers());
    return result;
  }

 private:
  PropertyRequest text(std::uint32_t atom) {
    return {connection_, window_, atom, PropertyRequest::longestText};
  }
  PropertyRequest text(const char* name) { return text(connection_.atom(name)); }
  PropertyRequest numbers(const char* name) {
    return {connection_, window_, connection_.atom(name), PropertyRequest::longestText};
  }

  X11Connection& connection_;
  std::uint32_t window_;
  PropertyRequest name_, olderName_, windowClass_, gtkApplication_, kdeDesktopFile_;
  PropertyRequest pid_, state_, types_;
};

void findMissingProcesses(X11Connection& connection, std::vector<CatalogWindow>& windows) {
  std::vector<std::pair<CatalogWindow*, ProcessRequest>> requests;
  for (auto& window : windows)
    if (window.pid == 0) requests.emplace_back(&window, ProcessRequest(connection, window.window));
  for (auto& [window, request] : requests) window->pid = request.take();
}

}  // namespace

std::vector<CatalogWindow> readWindows(X11Connection& connection) {
  const auto windows = managedWindows(connection);
  std::vector<WindowRequest> requests;
  requests.reserve(windows.size());
  for (const auto window : windows) requests.emplace_back(connection, window);
  const auto places = findPlaces(connection, windows);
  std::vector<CatalogWindow> result;
  for (std::size_t at = 0; at < windows.size(); ++at) {
    CatalogWindow window = requests[at].take();
    if (!places[at]) continue;
    window.place = *places[at];
    result.push_back(std::move(window));
  }
  findMissingProcesses(connection, result);
  return result;
}

std::vector<CatalogWindow> readOrdinaryWindows(X11Connection& connection, std::int32_t pid) {
  auto windows = readWindows(connection);
  std::erase_if(windows, [pid](const auto& window) {
    return window.pid != pid || window.kind != WindowKind::ordinary;
  });
  return windows;
}

// WM_STATE does not show which windows are minimised: some window managers call those of other virtual
// desktops iconic as well. Some hide shaded windows.
bool areStatesMinimized(X11Connection& connection, const std::vector<std::uint32_t>& states) {
  return contains(states, connection.atom("_NET_WM_STATE_HIDDEN")) &&
         !contains(states, connection.atom("_NET_WM_STATE_SHADED"));
}

std::optional<WindowPlace> findPlace(X11Connection& connection, std::uint32_t window) {
  return findPlaces(connection, {window}).front();
}

std::optional<std::string> readTitle(X11Connection& connection, std::uint32_t window) {
  PropertyRequest name(connection, window, connection.atom("_NET_WM_NAME"), PropertyRequest::longestText);
  PropertyRequest olderName(connection, window, XCB_ATOM_WM_NAME, PropertyRequest::longestText);
  const auto attributes = xcb_get_window_attributes(connection.xcb(), window);
  const std::string title = name.takeText();
  const std::string olderTitle = olderName.takeText();
  const XcbReply<xcb_get_window_attributes_reply_t> exists(
      xcb_get_window_attributes_reply(connection.xcb(), attributes, nullptr));
  if (!exists) return std::nullopt;
  return boundedTitle(title, olderTitle);
}

std::int32_t findProcess(X11Connection& connection, std::uint32_t window) {
  PropertyRequest property(connection, window, connection.atom("_NET_WM_PID"), 1);
  ProcessRequest request(connection, window);
  const std::int32_t pid = pidOf(property.takeNumbers());
  const std::int32_t fromServer = request.take();
  return pid > 0 ? pid : fromServer;
}

}  // namespace quorl
