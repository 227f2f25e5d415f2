// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>
#include <QuorlHostLinux/X11/X11Permissions.h>
#include <QuorlHostLinux/X11/X11ScreenCapture.h>
#include <QuorlHostLinux/X11/XTestPoster.h>

#include "DesktopAdapters.h"

namespace quorl {

void addDesktopAdapters(Platform& platform) {
  platform.permissions = std::make_shared<X11Permissions>();
  platform.screen = std::make_shared<X11ScreenCapture>();
  platform.events = std::make_shared<XTestPoster>();
  platform.compressors = makeLinuxVideoCompressors();
}

}  // namespace quorl
