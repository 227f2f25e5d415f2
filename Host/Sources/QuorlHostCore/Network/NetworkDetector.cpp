// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/NetworkDetector.h>

#include <algorithm>
#include <utility>

#include <QuorlHostCore/Network/LANAddresses.h>
#include <QuorlHostCore/Network/TailscaleStatus.h>
#include <QuorlHostCore/Network/ZeroTierStatus.h>

namespace quorl {

namespace {

const URL downloadPage{QUORL_TAILSCALE_DOWNLOAD_PAGE};

std::optional<std::string> nonEmpty(std::string text) {
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace

NetworkDetector::NetworkDetector(const Platform& platform, HostPorts ports,
                                 std::chrono::milliseconds toolLimit)
    : interfaces_(platform.interfaces),
      tools_(platform.tools),
      machine_(platform.machine),
      places_(platform.overlays),
      ports_(ports),
      toolLimit_(toolLimit) {}

std::vector<InterfaceAddress> NetworkDetector::addresses() const {
  return interfaces_ ? interfaces_->addresses() : std::vector<InterfaceAddress>();
}

NetworkStatus NetworkDetector::detect(const std::vector<InterfaceAddress>& addresses) const {
  NetworkStatus base;
  base.shortName = nonEmpty(machine_->computerName());
  base.lanAddresses = lanAddresses(addresses);
  base.sessionPort = ports_.session;
  base.relayPort = ports_.relay;
  if (tools_) {
    if (auto status = detectTailscale(base)) return *status;
    if (auto status = detectZeroTier(base)) return *status;
  }
  base.guidance = "Install Tailscale to reach this Mac from anywhere";
  base.actionURL = downloadPage;
  return base;
}

std::optional<NetworkStatus> NetworkDetector::detectTailscale(const NetworkStatus& base) const {
  const auto found = tool(places_.tailscaleTools, "tailscale");
  const auto output = found ? outputOf(*found, {"status", "--json"}) : std::nullopt;
  const auto answer = output ? TailscaleStatus::parse(viewOf(*output)) : std::nullopt;
  const bool isInstalled = std::ranges::any_of(
      places_.tailscaleInstallations, [this](const std::string& path) { return tools_->exists(path); });
  if (!answer && !isInstalled) return std::nullopt;
  NetworkStatus status = base;
  status.overlay = OverlayKind::tailscale;
  status.health = answer && answer->isOnline() ? OverlayHealth::online : OverlayHealth::notReady;
  if (answer) {
    status.magicDNSName = answer->dnsName;
    if (auto name = answer->shortName()) status.shortName = std::move(name);
    status.overlayAddresses = answer->addresses;
  }
  if (status.health != OverlayHealth::online) {
    status.guidance = "Open Tailscale and sign in";
    if (answer) status.actionURL = downloadPage;
  }
  return status;
}

std::optional<NetworkStatus> NetworkDetector::detectZeroTier(const NetworkStatus& base) const {
  const auto found = tool(places_.zeroTierTools, "zerotier-cli");
  const auto info = found ? outputOf(*found, {"-j", "info"}) : std::nullopt;
  const auto isOnline = info ? ZeroTierStatus::isOnline(viewOf(*info)) : std::nullopt;
  if (!isOnline) return std::nullopt;
  NetworkStatus status = base;
  status.overlay = OverlayKind::zerotier;
  status.health = *isOnline ? OverlayHealth::online : OverlayHealth::notReady;
  if (const auto networks = outputOf(*found, {"-j", "listnetworks"}))
    status.overlayAddresses = ZeroTierStatus::addresses(viewOf(*networks));
  if (!*isOnline) status.guidance = "Open ZeroTier and join your network";
  return status;
}

std::optional<std::string> NetworkDetector::tool(const std::vector<std::string>& places,
                                                 const std::string& name) const {
  const auto found =
      std::ranges::find_if(places, [this](const std::string& path) { return tools_->isExecutable(path); });
  return found != places.end() ? std::optional(*found) : tools_->findInPath(name);
}

// The exit status does not matter: tools that fail print their state as well.
std::optional<std::string> NetworkDetector::outputOf(const std::string& tool,
                                                     const Arguments& arguments) const {
  Arguments command{tool};
  command.insert(command.end(), arguments.begin(), arguments.end());
  ToolResult result = tools_->run(command, toolLimit_);
  return result.end == ToolEnd::notStarted ? std::nullopt : nonEmpty(std::move(result.output));
}

}  // namespace quorl
