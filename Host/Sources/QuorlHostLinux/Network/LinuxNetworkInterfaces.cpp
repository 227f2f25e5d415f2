// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Network/LinuxNetworkInterfaces.h>

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstring>
#include <utility>

#include <QuorlHostLinux/Network/InterfaceKind.h>

namespace quorl {

namespace {

struct FreeList {
  void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

// An address stays on an interface that is switched off or has lost its cable.
bool isConnected(const ifaddrs& entry) {
  constexpr unsigned needed = IFF_UP | IFF_RUNNING;
  return (entry.ifa_flags & needed) == needed;
}

}  // namespace

std::vector<InterfaceAddress> LinuxNetworkInterfaces::addresses() {
  std::vector<InterfaceAddress> addresses;
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return addresses;
  const std::unique_ptr<ifaddrs, FreeList> list(first);
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || !isConnected(*entry)) continue;
    InterfaceAddress address{.interface = entry->ifa_name,
                             .address = {},
                             .kind = interfaceKind(readInterfaceFacts(entry->ifa_name))};
    const auto* socketAddress = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    std::memcpy(address.address.data(), &socketAddress->sin_addr, address.address.size());
    addresses.push_back(std::move(address));
  }
  return addresses;
}

bool LinuxNetworkInterfaces::setChangeHandler(ChangeHandler handler) {
  const std::lock_guard lock(mutex_);
  monitor_.reset();
  if (!handler) return true;
  monitor_ = std::make_unique<LinkMonitor>(std::move(handler));
  return monitor_->isRunning();
}

}  // namespace quorl
