// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

/// A GetProperty request under way. Requests of many windows leave together, and their replies are taken
/// afterwards.
///
/// *Queue*: the connection's thread. *Lifetime*: `take` is called once.
class PropertyRequest {
 public:
  /// In 32-bit units. Longer values are cut.
  static constexpr std::uint32_t longestText = 1'024;
  static constexpr std::uint32_t longestList = 16'384;

  PropertyRequest(X11Connection& connection, std::uint32_t window, std::uint32_t property,
                  std::uint32_t longest, std::uint32_t offset = 0);

  /// Empty if the property is absent or of another format, or the window is gone.
  std::string takeText();
  std::vector<std::uint32_t> takeNumbers();
  /// Also the length of the whole property in bytes, from the request's offset on.
  std::vector<std::uint32_t> takeNumbers(std::uint64_t& totalBytes);

 private:
  XcbReply<xcb_get_property_reply_t> take();

  xcb_connection_t* xcb_;
  xcb_get_property_cookie_t cookie_;
};

/// One property; waits for the server.
std::vector<std::uint32_t> readNumbers(X11Connection& connection, std::uint32_t window, const char* property);

/// Whether a window manager runs that follows the Extended Window Manager Hints. The properties of one that
/// has been killed remain on the root. Waits for the server.
bool hasWindowManager(X11Connection& connection);

/// A title of another program: valid UTF-8 of at most 1,024 bytes, without what follows a zero byte. The
/// older property may be Latin-1.
std::string boundedTitle(const std::string& utf8Name, const std::string& olderName);

/// WM_CLASS: two texts, each terminated by a zero. Valid UTF-8.
struct WindowClass {
  std::string instance;
  std::string name;

  bool operator==(const WindowClass&) const = default;
};
WindowClass parseWindowClass(const std::string& property);

}  // namespace quorl
