// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HostServices.h>

#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>

namespace quorl {

// No port reads accounts yet.
std::vector<UserAccount> HostServices::buildUserAccounts() const {
  return {};
}

std::vector<ServiceDescriptor> HostServices::serviceList() const {
  return extras ? extras->serviceDescriptors() : std::vector<ServiceDescriptor>();
}

}  // namespace quorl
