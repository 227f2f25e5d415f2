// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HostServices.h>

#include <utility>

#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Scanner/ServiceScanner.h>
#include <QuorlHostCore/Users/UserSessionManager.h>

namespace quorl {

std::vector<UserAccount> HostServices::buildUserAccounts() const {
  return users->userList();
}

std::vector<ServiceDescriptor> HostServices::serviceList() const {
  return withCustomServices(scanner ? scanner->services() : std::vector<ServiceDescriptor>());
}

std::vector<ServiceDescriptor> HostServices::withCustomServices(
    std::vector<ServiceDescriptor> scanned) const {
  if (!extras) return scanned;
  for (ServiceDescriptor& service : extras->serviceDescriptors()) scanned.push_back(std::move(service));
  return scanned;
}

}  // namespace quorl
