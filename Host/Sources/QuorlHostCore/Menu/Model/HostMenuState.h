// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Menu/Model/MenuSnapshot.h>
#include <QuorlHostCore/Shared/ClientSummary.h>
#include <QuorlKit/Models/NetworkModels.h>

namespace quorl {

/// What the platform grants, and why it does not.
struct GrantedPermissions {
  bool screen = false;
  bool input = false;
  std::string screenObstacle;  // empty if granted or unknown
  std::string inputObstacle;
  std::string limitation;  // applies although both are granted; empty if there is none
  bool canRequest = true;  // the platform has a prompt

  bool operator==(const GrantedPermissions&) const = default;
};

/// The facts that the popover shows. Pure: `popoverFrom` makes its texts.
struct HostMenuState {
  bool screenGranted = false;
  bool axGranted = false;  // accessibility: synthetic input
  std::vector<ClientSummary> clients;
  std::size_t pairedCount = 0;
  std::string pin;
  std::string reachability = "LAN only";
  bool overlayOnline = false;
  std::string consoleUser = "login window";
  bool ownsPort = false;
  bool magnifyAsCommandScroll = false;
  bool startAtLogin = false;

  std::string statusLine(std::uint16_t port) const;
  MenuColor statusColor() const;

  bool operator==(const HostMenuState&) const = default;
};

std::string reachabilityText(const std::optional<NetworkStatus>& status);
bool isOverlayOnline(const std::optional<NetworkStatus>& status);
/// The overlay's name for this host, else its first address there.
std::optional<std::string> preferredRemoteAddress(const std::optional<NetworkStatus>& status);
std::string pairedDevicesText(std::size_t count);

/// Facts of the popover beside the state.
struct PopoverContext {
  std::string computerName;  // empty if unknown
  std::uint16_t port = 0;
  GrantedPermissions permissions;
  bool canStartAtLogin = true;
  Date now;
};

PopoverSnapshot popoverFrom(const HostMenuState& state, const PopoverContext& context);

}  // namespace quorl
