// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/OverlayPlaces.h>

namespace quorl {

/// Where Linux distributions and the overlays' own packages install the tools. The daemon's program shows
/// that Tailscale is installed; its state folder does not, because it remains when the package is removed.
inline OverlayPlaces linuxOverlayPlaces() {
  return {
      .tailscaleTools = {"/usr/bin/tailscale", "/usr/local/bin/tailscale", "/snap/bin/tailscale"},
      .tailscaleInstallations = {"/usr/sbin/tailscaled", "/usr/bin/tailscaled", "/usr/local/sbin/tailscaled",
                                 "/usr/local/bin/tailscaled", "/snap/bin/tailscale"},
      // /usr/sbin is not in the PATH of ordinary users.
      .zeroTierTools = {"/usr/sbin/zerotier-cli", "/usr/bin/zerotier-cli", "/usr/local/sbin/zerotier-cli",
                        "/usr/local/bin/zerotier-cli"}};
}

}  // namespace quorl
