// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/Desktop.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <string>

#include <QuorlUnix/Descriptor.h>
#include <fmt/format.h>
#include <xcb/xcb.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::viewer {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool waylandAnswers(const std::string& display) {
  const auto path = display.starts_with('/') ? display : variable("XDG_RUNTIME_DIR") + "/" + display;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  path.copy(address.sun_path, path.size());
  const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool x11Answers() {
  auto* connection = ::xcb_connect(nullptr, nullptr);
  const bool answers = ::xcb_connection_has_error(connection) == 0;
  ::xcb_disconnect(connection);
  return answers;
}

}  // namespace

std::optional<client::ClientError> missingDesktop() {
  // A platform of Qt that needs no display, for pictures of the windows.
  const auto platform = variable("QT_QPA_PLATFORM");
  if (!platform.empty() && !platform.starts_with("xcb") && !platform.starts_with("wayland"))
    return std::nullopt;
  const auto wayland = variable("WAYLAND_DISPLAY");
  if (!wayland.empty() && waylandAnswers(wayland)) return std::nullopt;
  ::unsetenv("WAYLAND_DISPLAY");
  const auto display = variable("DISPLAY");
  if (!display.empty() && x11Answers()) return std::nullopt;
  if (display.empty() && wayland.empty())
    return client::ClientError{client::ExitCode::failure, "there is no desktop for a window",
                               "Start it in a desktop session, or set DISPLAY; in a terminal use "
                               "'quorl_client shot' or 'quorl_client attach'."};
  return client::ClientError{
      client::ExitCode::failure,
      fmt::format("the desktop {} does not answer", client::printable(display.empty() ? wayland : display)),
      "Check DISPLAY and WAYLAND_DISPLAY, and that you may use that desktop (XAUTHORITY)."};
}

}  // namespace quorl::viewer
