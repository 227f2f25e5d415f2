// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/HostMenuState.h>

#include <fmt/format.h>

#include <QuorlHostCore/Menu/Model/RelativeTime.h>

namespace quorl {

namespace {

constexpr const char* permissionNote =
    "If the prompt doesn't appear, use ⚙ to open System Settings — then relaunch Quorl Host.";

std::vector<PermissionRow> missingPermissions(const HostMenuState& state, const GrantedPermissions& granted) {
  std::vector<PermissionRow> rows;
  if (!state.screenGranted)
    rows.push_back({.permission = MenuPermission::screenRecording,
                    .title = "Screen Recording",
                    .detail = "Lets Quorl stream your screen to the iPad.",
                    .obstacle = granted.screenObstacle,
                    .canRequest = granted.canRequest});
  if (!state.axGranted)
    rows.push_back({.permission = MenuPermission::accessibility,
                    .title = "Accessibility",
                    .detail = "Lets taps, keys and window fitting reach your apps.",
                    .obstacle = granted.inputObstacle,
                    .canRequest = granted.canRequest});
  return rows;
}

}  // namespace

std::string HostMenuState::statusLine(std::uint16_t port) const {
  if (!ownsPort) return fmt::format("Standing by — another user session owns port {}", port);
  if (clients.empty()) return "Waiting for a device…";
  if (clients.size() == 1) return fmt::format("Connected to {}", clients.front().name);
  return fmt::format("Connected to {} devices", clients.size());
}

MenuColor HostMenuState::statusColor() const {
  if (!screenGranted || !ownsPort) return MenuColor::red;
  return clients.empty() ? MenuColor::orange : MenuColor::green;
}

bool isOverlayOnline(const std::optional<NetworkStatus>& status) {
  return status && status->health == OverlayHealth::online;
}

std::optional<std::string> preferredRemoteAddress(const std::optional<NetworkStatus>& status) {
  if (!status) return std::nullopt;
  if (status->magicDNSName) return status->magicDNSName;
  if (!status->overlayAddresses.empty()) return status->overlayAddresses.front();
  return std::nullopt;
}

std::string reachabilityText(const std::optional<NetworkStatus>& status) {
  if (isOverlayOnline(status))
    return fmt::format("Reachable anywhere · {}", preferredRemoteAddress(status).value_or("overlay"));
  if (status && !status->lanAddresses.empty())
    return fmt::format("LAN only · {}", status->lanAddresses.front());
  return "LAN only";
}

std::string pairedDevicesText(std::size_t count) {
  if (count == 0) return "No paired devices yet";
  return fmt::format("{} paired device{}", count, count == 1 ? "" : "s");
}

PopoverSnapshot popoverFrom(const HostMenuState& state, const PopoverContext& context) {
  PopoverSnapshot snapshot{
      .title =
          fmt::format("Quorl · {}", context.computerName.empty() ? std::string("Mac") : context.computerName),
      .statusLine = state.statusLine(context.port),
      .statusColor = state.statusColor(),
      .reachability = state.reachability,
      .overlayOnline = state.overlayOnline,
      .missingPermissions = missingPermissions(state, context.permissions),
      .permissionNote = context.permissions.canRequest ? permissionNote : "",
      .pin = state.pin,
      .clients = {},
      .pairedDevices = pairedDevicesText(state.pairedCount),
      .canRevoke = state.pairedCount > 0,
      .consoleSession = fmt::format("Console session: {}", state.consoleUser),
      .magnifyAsCommandScroll = state.magnifyAsCommandScroll,
      .startAtLogin = state.startAtLogin,
      .canStartAtLogin = context.canStartAtLogin,
  };
  for (const ClientSummary& client : state.clients)
    snapshot.clients.push_back(
        {client.name, fmt::format("{} · {}", client.endpoint, shortAge(client.since, context.now))});
  return snapshot;
}

}  // namespace quorl
