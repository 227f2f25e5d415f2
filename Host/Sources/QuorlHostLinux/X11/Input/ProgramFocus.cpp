// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/ProgramFocus.h>

#include <string_view>
#include <utility>

#include <xcb/xcb.h>

#include <QuorlHostLinux/Applications/ApplicationNames.h>
#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

bool isTerminalByDesktopFile(const std::string& windowClass) {
  ApplicationNames names;
  names.refresh();
  const std::string id = names.identify({.className = windowClass}, RunningProgram{}).bundleID;
  for (const auto& folder : currentDataFolders()) {
    for (const auto& candidate : desktopFileCandidates(id)) {
      const auto file = readDesktopFile(folder + "/applications/" + candidate);
      if (file) return file->isTerminalEmulator;
    }
  }
  return false;
}

ProgramFocus::ProgramFocus(X11Connection& connection, TerminalTest isTerminal)
    : connection_(connection), isTerminal_(std::move(isTerminal)) {
  connection_.selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void ProgramFocus::take(const void* event) {
  const auto& change = *static_cast<const xcb_property_notify_event_t*>(event);
  if ((change.response_type & 0x7F) != XCB_PROPERTY_NOTIFY || change.window != connection_.root()) return;
  if (change.atom == connection_.atom("_NET_ACTIVE_WINDOW")) known_.reset();
}

FocusedProgram ProgramFocus::current() {
  if (known_) return *known_;
  const auto active = activeWindow();
  const auto program = programOf(classOf(active ? *active : focusedWindow()));
  if (active) known_ = program;
  return program;
}

/// 0: no window is active. Nothing without a window manager.
std::optional<std::uint32_t> ProgramFocus::activeWindow() {
  const auto cookie = xcb_get_property(connection_.xcb(), 0, connection_.root(),
                                       connection_.atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0, 1);
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_.xcb(), cookie, nullptr));
  if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4) return std::nullopt;
  return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
}

/// The window with the keyboard focus, or its ancestor that has a class.
std::uint32_t ProgramFocus::focusedWindow() {
  const XcbReply<xcb_get_input_focus_reply_t> focus(
      xcb_get_input_focus_reply(connection_.xcb(), xcb_get_input_focus(connection_.xcb()), nullptr));
  std::uint32_t window = focus ? focus->focus : 0;
  constexpr int deepest = 8;
  for (int depth = 0; depth < deepest && window > XCB_INPUT_FOCUS_POINTER_ROOT; ++depth) {
    if (window == connection_.root() || !classOf(window).empty()) return window;
    const XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection_.xcb(), xcb_query_tree(connection_.xcb(), window), nullptr));
    window = tree ? tree->parent : 0;
  }
  return 0;
}

/// WM_CLASS has two texts, each with a zero at its end: the instance and the class (ICCCM 4.1.2.5).
std::string ProgramFocus::classOf(std::uint32_t window) {
  if (window == 0) return {};
  constexpr std::uint32_t longest = 64;  // in 32-bit units
  const auto cookie =
      xcb_get_property(connection_.xcb(), 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, longest);
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_.xcb(), cookie, nullptr));
  if (!reply || reply->format != 8) return {};
  const std::string_view both(static_cast<const char*>(xcb_get_property_value(reply.get())),
                              static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
  const auto zero = both.find('\0');
  if (zero == std::string_view::npos) return {};
  const auto second = both.substr(zero + 1);
  return std::string(second.substr(0, second.find('\0')));
}

FocusedProgram ProgramFocus::programOf(const std::string& windowClass) const {
  if (windowClass.empty()) return FocusedProgram::ordinary;
  if (const auto known = terminalOfClass(windowClass)) return *known;
  return isTerminal_(windowClass) ? FocusedProgram::terminal : FocusedProgram::ordinary;
}

}  // namespace quorl
