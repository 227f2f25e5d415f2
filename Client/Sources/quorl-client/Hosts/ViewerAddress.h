// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace quorl::client {

/// What of a host is shown.
namespace viewTarget {

struct MainDisplay {
  bool operator==(const MainDisplay&) const = default;
};
struct Display {
  std::uint32_t id = 0;
  bool operator==(const Display&) const = default;
};
/// A window by its title, because its number changes with each start of the program.
struct Window {
  std::string title;
  bool operator==(const Window&) const = default;
};
struct App {
  std::string bundleID;
  bool operator==(const App&) const = default;
};

}  // namespace viewTarget

using ViewTarget =
    std::variant<viewTarget::MainDisplay, viewTarget::Display, viewTarget::Window, viewTarget::App>;

/// "" or "display" (the main one), "display/2", "window/TITLE", "app/IDENTIFIER", with a title and an
/// identifier in percent-encoding. Nothing for anything else. Texts are valid UTF-8 without control
/// characters; an identifier has no slash and does not begin with a point or a hyphen.
std::optional<ViewTarget> parseTarget(std::string_view text);
/// A text that `parseTarget` reads.
std::string textOf(const ViewTarget& target);

/// The address of what to show: quorl://HOST[:PORT][/TARGET]. It may come from a web page: it names a host
/// and a target, and never a path, a command or a user.
struct ViewerAddress {
  /// Begins with the scheme, whatever follows.
  static bool isURL(std::string_view text);
  std::string host;  // a name or a numeric address, IPv6 without brackets
  std::uint16_t port = 0;
  ViewTarget target;

  static std::optional<ViewerAddress> parse(std::string_view url);
  std::string text() const;

  bool operator==(const ViewerAddress&) const = default;
};

}  // namespace quorl::client
