// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/OverlayPlaces.h>

namespace quorl {

/// Where the overlays are installed on a Mac: as an application or by Homebrew.
inline OverlayPlaces macOverlayPlaces() {
  return {.tailscaleTools = {"/Applications/Tailscale.app/Contents/MacOS/Tailscale",
                             "/usr/local/bin/tailscale", "/opt/homebrew/bin/tailscale"},
          .tailscaleInstallations = {"/Applications/Tailscale.app"},
          .zeroTierTools = {"/usr/local/bin/zerotier-cli"}};
}

}  // namespace quorl
