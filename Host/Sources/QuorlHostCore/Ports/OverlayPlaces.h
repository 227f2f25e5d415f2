// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorl {

/// Where a platform installs overlay networks; absolute paths, in the order in which they are tried.
struct OverlayPlaces {
  std::vector<std::string> tailscaleTools;          // else "tailscale" in PATH
  std::vector<std::string> tailscaleInstallations;  // any that exists shows that Tailscale is installed
  std::vector<std::string> zeroTierTools;           // else "zerotier-cli" in PATH
};

}  // namespace quorl
