// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/NetworkInterfaces.h>

namespace quorl {

/// What the kernel shows of a network interface in /sys/class/net.
struct InterfaceFacts {
  std::string name;
  bool hasDevice = false;  // hardware or a virtual machine's adapter
  bool isBridge = false;
  bool isTunnel = false;  // TUN or TAP: overlays, VPNs, virtual machines
};

/// LAN interfaces are network adapters, and those with the name of an adapter (systemd.net-naming-scheme(7):
/// en*, wl*; the kernel's eth*, wlan*), because a VLAN or the adapter of a container has no device. Bridges,
/// tunnels and cellular modems (ww*) are none.
InterfaceAddress::Kind interfaceKind(const InterfaceFacts& facts);

/// Reads the facts of one interface. `name` may have a label: "eth0:1".
InterfaceFacts readInterfaceFacts(const std::string& name, const std::string& folder = "/sys/class/net");

}  // namespace quorl
