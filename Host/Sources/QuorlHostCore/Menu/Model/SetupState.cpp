// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/SetupState.h>

#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <QuorlHostCore/Menu/Model/RelativeTime.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::uint16_t usualSessionPort = 47900;
constexpr std::uint16_t usualRelayPort = 47901;
// Opens the overlay's own application, where it has registered the scheme.
constexpr const char* tailscaleURL = "tailscale:";

std::string overlayName(OverlayKind overlay) {
  switch (overlay) {
    case OverlayKind::tailscale:
      return "Tailscale";
    case OverlayKind::zerotier:
      return "ZeroTier";
    case OverlayKind::none:
      return "No overlay";
  }
  return {};
}

/// ZeroTier has no application to open: its guidance alone says what to do.
std::optional<OverlayAction> overlayAction(const NetworkStatus& status) {
  const std::string url = status.actionURL ? status.actionURL->absolute : std::string();
  switch (status.health) {
    case OverlayHealth::online:
      return std::nullopt;
    case OverlayHealth::notInstalled:
      return OverlayAction{"Install Tailscale", url};
    case OverlayHealth::notReady:
      if (status.overlay != OverlayKind::tailscale) return std::nullopt;
      return OverlayAction{"Open Tailscale", tailscaleURL};
  }
  return std::nullopt;
}

void describeOverlay(SetupSnapshot& snapshot, const std::optional<NetworkStatus>& status) {
  if (!status) {
    snapshot.overlayColor = MenuColor::grey;
    snapshot.overlayStatus = "Checking connectivity…";
    return;
  }
  const std::string name = overlayName(status->overlay);
  switch (status->health) {
    case OverlayHealth::online:
      snapshot.overlayColor = MenuColor::green;
      snapshot.overlayStatus = name + " — Reachable from anywhere";
      break;
    case OverlayHealth::notReady:
      snapshot.overlayColor = MenuColor::orange;
      snapshot.overlayStatus = name + " — Not signed in";
      break;
    case OverlayHealth::notInstalled:
      snapshot.overlayColor = MenuColor::grey;
      snapshot.overlayStatus = "LAN only — no overlay installed";
      break;
  }
  snapshot.overlayGuidance = status->guidance;
  snapshot.overlayAction = overlayAction(*status);
}

std::string listOf(const std::vector<std::string>& addresses) {
  return addresses.empty() ? "—" : fmt::format("{}", fmt::join(addresses, ", "));
}

void describeAddresses(SetupSnapshot& snapshot, const SetupState& state) {
  const auto& status = state.network;
  snapshot.address =
      preferredRemoteAddress(status).value_or(state.computerName.empty() ? "this Mac" : state.computerName);
  snapshot.overlayAddresses = status ? listOf(status->overlayAddresses) : "—";
  snapshot.lanAddresses = status ? listOf(status->lanAddresses) : "—";
  snapshot.ports = fmt::format("session {} · relay {}", status ? status->sessionPort : usualSessionPort,
                               status ? status->relayPort : usualRelayPort);
}

PermissionState permissionState(MenuPermission permission, const std::string& title, bool isGranted,
                                const std::string& obstacle, bool canRequest) {
  return {.permission = permission,
          .title = title,
          .status = isGranted ? "Granted" : "Not granted",
          .isGranted = isGranted,
          .obstacle = obstacle,
          .canRequest = canRequest};
}

std::string clientLine(const ClientSummary& client, Date now) {
  std::string line = client.name;
  if (!client.endpoint.empty()) line += fmt::format(" ({})", client.endpoint);
  line += " — connected " + longAge(client.since, now);
  if (client.lastProbe) line += ", last probe " + longAge(*client.lastProbe, now);
  return line;
}

// What RFC 3986 (section 3.4) allows in a query, without the characters that separate items ("&", "=", ";")
// and "+", which some readers take for a blank.
bool isPlainInQueryValue(char character) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$'()*,:@/?";
  return plain.find(character) != std::string_view::npos;
}

std::string queryValue(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (isPlainInQueryValue(character))
      result += character;
    else
      result += fmt::format("%{:02X}", static_cast<unsigned char>(character));
  }
  return result;
}

std::string joinHost(const std::optional<NetworkStatus>& status, const std::string& computerName) {
  if (const auto remote = preferredRemoteAddress(status)) return *remote;
  if (status && !status->lanAddresses.empty()) return status->lanAddresses.front();
  if (status && status->shortName) return *status->shortName;
  return computerName.empty() ? "mac" : computerName;
}

}  // namespace

std::string joinPayload(const std::optional<NetworkStatus>& status, const std::string& computerName) {
  const std::string host = joinHost(status, computerName);
  const std::uint16_t port = status ? status->sessionPort : usualSessionPort;
  const std::string name = computerName.empty() ? "Mac" : computerName;
  if (!isValidUTF8(host) || !isValidUTF8(name))
    return fmt::format("quorl://join?host={}&port={}", host, port);
  return fmt::format("quorl://join?host={}&port={}&name={}", queryValue(host), port, queryValue(name));
}

SetupSnapshot setupFrom(const SetupState& state, Date now) {
  SetupSnapshot snapshot;
  describeOverlay(snapshot, state.network);
  describeAddresses(snapshot, state);
  snapshot.joinPayload = joinPayload(state.network, state.computerName);
  snapshot.pin = state.pin;
  const GrantedPermissions& granted = state.permissions;
  snapshot.permissions = {permissionState(MenuPermission::screenRecording, "Screen Recording", granted.screen,
                                          granted.screenObstacle, granted.canRequest),
                          permissionState(MenuPermission::accessibility, "Accessibility", granted.input,
                                          granted.inputObstacle, granted.canRequest)};
  snapshot.permissionLimitation = granted.limitation;
  snapshot.hasClients = !state.clients.empty();
  snapshot.clients = "No clients connected.";
  if (!snapshot.hasClients) return snapshot;
  std::vector<std::string> lines;
  for (const ClientSummary& client : state.clients) lines.push_back(clientLine(client, now));
  snapshot.clients = fmt::format("{}", fmt::join(lines, "\n"));
  return snapshot;
}

}  // namespace quorl
