// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Menu/Model/HostMenuState.h>

namespace quorl {

/// The facts that the setup window shows. Pure: `setupFrom` makes its texts.
struct SetupState {
  std::optional<NetworkStatus> network;  // absent until the first check
  std::string computerName;              // empty if unknown
  std::string pin;
  GrantedPermissions permissions;
  std::vector<ClientSummary> clients;

  bool operator==(const SetupState&) const = default;
};

SetupSnapshot setupFrom(const SetupState& state, Date now);

/// The text of the QR code, a URL that fills in the address on the client. It has no secret. If the name is
/// not valid text, it is left out.
std::string joinPayload(const std::optional<NetworkStatus>& status, const std::string& computerName);

}  // namespace quorl
