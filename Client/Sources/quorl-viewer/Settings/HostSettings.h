// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/Record.h>

namespace quorl::viewer {

enum class ScaleChoice : std::uint8_t { fit, exact, fixed };
BOOST_DESCRIBE_ENUM(ScaleChoice, fit, exact, fixed)
enum class KeyboardChoice : std::uint8_t { keys, text };
BOOST_DESCRIBE_ENUM(KeyboardChoice, keys, text)
enum class GrabChoice : std::uint8_t { never, inFullScreen, whenFocused };
BOOST_DESCRIBE_ENUM(GrabChoice, never, inFullScreen, whenFocused)
enum class PointerChoice : std::uint8_t { here, atHost };
BOOST_DESCRIBE_ENUM(PointerChoice, here, atHost)

/// What the viewer remembers for one host.
struct HostSettings {
  std::string target = "display";      // `parseTarget`
  std::optional<std::string> monitor;  // of this computer, for full screen, by its name
  bool isFullScreen = false;
  bool isMuted = false;
  ScaleChoice scale = ScaleChoice::fit;
  double scaleFactor = 1;  // for `fixed`
  KeyboardChoice keyboard = KeyboardChoice::keys;
  GrabChoice grab = GrabChoice::inFullScreen;
  PointerChoice pointer = PointerChoice::here;
  bool sendsClipboard = true;
  bool takesClipboard = true;
  bool sendsPrimary = false;
  std::optional<PointRect> window;  // its geometry, in points

  bool operator==(const HostSettings&) const = default;
};
BOOST_DESCRIBE_STRUCT(HostSettings, (),
                      (target, monitor, isFullScreen, isMuted, scale, scaleFactor, keyboard, grab, pointer,
                       sendsClipboard, takesClipboard, sendsPrimary, window))

/// Reads the settings. Keys that are missing keep their defaults; values out of range become defaults.
/// Nothing for damaged JSON and for values of the wrong type.
std::optional<HostSettings> decodeSettings(ByteView json);

/// Writes the settings. Keys of `previous` that this version does not know are kept.
Bytes encodeSettings(const HostSettings& settings, ByteView previous);

}  // namespace quorl::viewer

namespace quorl {
template <>
inline constexpr std::array defaultedFields<viewer::HostSettings> = {
    std::string_view("target"),         std::string_view("isFullScreen"), std::string_view("isMuted"),
    std::string_view("scale"),          std::string_view("scaleFactor"),  std::string_view("keyboard"),
    std::string_view("grab"),           std::string_view("pointer"),      std::string_view("sendsClipboard"),
    std::string_view("takesClipboard"), std::string_view("sendsPrimary")};
}  // namespace quorl
