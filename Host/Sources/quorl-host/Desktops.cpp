// SPDX-License-Identifier: GPL-3.0-or-later
#include "Desktops.h"

#include <algorithm>
#include <array>

#include <QuorlHostLinux/Images/ImageFiles.h>
#include <QuorlHostLinux/X11/Capture/X11ScreenCapture.h>
#include <QuorlHostLinux/X11/Clipboard/X11Pasteboard.h>
#include <QuorlHostLinux/X11/Connection/X11Permissions.h>
#include <QuorlHostLinux/X11/Input/XTestPoster.h>

namespace quorl {

namespace {

bool namesAnXServer(const Environment& environment) {
  return !environment("DISPLAY").value_or("").empty();
}

void addX11(Platform& platform) {
  platform.permissions = std::make_shared<X11Permissions>();
  platform.screen = std::make_shared<X11ScreenCapture>();
  platform.events = std::make_shared<XTestPoster>();
  platform.pasteboard = std::make_shared<X11Pasteboard>();
  platform.images = std::make_shared<ImageFiles>();
}

constexpr std::array<Desktop, 2> desktops{
    Desktop{.name = "X11", .serves = namesAnXServer, .addTo = addX11},
    Desktop{.name = "none", .serves = [](const Environment&) { return true; }, .addTo = addNoDesktop},
};

}  // namespace

const Desktop& desktopFor(const Environment& environment) {
  return *std::ranges::find_if(desktops, [&](const Desktop& desktop) { return desktop.serves(environment); });
}

}  // namespace quorl
