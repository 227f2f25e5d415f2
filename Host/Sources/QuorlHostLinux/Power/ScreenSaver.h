// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostLinux/System/Bus.h>

namespace quorl::screenSaver {

// The screen saver of the desktop, org.freedesktop.ScreenSaver on the session bus. (Idle Inhibition Service
// of freedesktop.org; GNOME, KDE, Xfce and others implement it.)

inline constexpr const char* service = "org.freedesktop.ScreenSaver";

inline BusObject object() {
  return {service, "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver"};
}

}  // namespace quorl::screenSaver
