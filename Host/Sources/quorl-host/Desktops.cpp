// SPDX-License-Identifier: GPL-3.0-or-later
#include "Desktops.h"

#include <algorithm>
#include <array>

#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostLinux/Images/ImageFiles.h>
#include <QuorlHostLinux/X11/Capture/X11ScreenCapture.h>
#include <QuorlHostLinux/X11/Clipboard/X11Pasteboard.h>
#include <QuorlHostLinux/X11/Connection/X11Permissions.h>
#include <QuorlHostLinux/X11/Displays/X11DisplayCatalog.h>
#include <QuorlHostLinux/X11/Input/XTestPoster.h>
#include <QuorlHostLinux/X11/Power/X11DisplayPower.h>
#include <QuorlHostLinux/X11/Windows/X11RunningApplications.h>
#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>

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
  const auto windows = std::make_shared<WindowSession>(displayNameFromEnvironment());
  platform.windows = std::make_shared<X11WindowControl>(windows);
  platform.runningApplications =
      std::make_shared<X11RunningApplications>(windows, ApplicationIcons(currentDataFolders()));
  platform.displays = std::make_shared<X11DisplayCatalog>();
  const auto power = std::make_shared<X11DisplayPower>();
  platform.displayPower = power;
  platform.powerAssertions = power;
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
