// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Network/InterfaceKind.h>

#include <unistd.h>

namespace quorl {

InterfaceAddress::Kind interfaceKind(const InterfaceFacts& facts) {
  const bool isNamedLikeAdapter =
      facts.name.starts_with("en") || facts.name.starts_with("eth") || facts.name.starts_with("wl");
  const bool isModem = facts.name.starts_with("ww");
  const bool isLAN =
      (facts.hasDevice || isNamedLikeAdapter) && !facts.isBridge && !facts.isTunnel && !isModem;
  return isLAN ? InterfaceAddress::Kind::lan : InterfaceAddress::Kind::other;
}

InterfaceFacts readInterfaceFacts(const std::string& name, const std::string& folder) {
  const std::string interface = name.substr(0, name.find(':'));
  const auto has = [path = folder + "/" + interface + "/"](const char* entry) {
    return access((path + entry).c_str(), F_OK) == 0;
  };
  return {
      .name = interface, .hasDevice = has("device"), .isBridge = has("bridge"), .isTunnel = has("tun_flags")};
}

}  // namespace quorl
