// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/MachineFacts.h>
#include <QuorlHostCore/Ports/NetworkInterfaces.h>
#include <QuorlHostCore/Ports/OverlayPlaces.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Ports/ToolRunner.h>
#include <QuorlKit/Models/NetworkModels.h>

namespace quorl {

/// The ports that a client connects to.
struct HostPorts {
  std::uint16_t session = 0;
  std::uint16_t relay = 0;
};

/// Finds out how this machine can be reached, by asking the tools of the overlay networks.
///
/// *Queue*: any thread, one call at a time.
/// *Blocking*: `detect` waits for tools: three seconds for each of at most three commands.
/// *Ownership*: shares the ports of the platform. A value.
class NetworkDetector {
 public:
  static constexpr std::chrono::milliseconds usualLimit{2000};

  /// `toolLimit`: for each command.
  NetworkDetector(const Platform& platform, HostPorts ports,
                  std::chrono::milliseconds toolLimit = usualLimit);

  std::vector<InterfaceAddress> addresses() const;
  /// Without an overlay's tool no program is started.
  NetworkStatus detect(const std::vector<InterfaceAddress>& addresses) const;

 private:
  using Arguments = std::vector<std::string>;

  std::optional<NetworkStatus> detectTailscale(const NetworkStatus& base) const;
  std::optional<NetworkStatus> detectZeroTier(const NetworkStatus& base) const;
  std::optional<std::string> tool(const std::vector<std::string>& places, const std::string& name) const;
  std::optional<std::string> outputOf(const std::string& tool, const Arguments& arguments) const;

  std::shared_ptr<NetworkInterfaces> interfaces_;  // these two may be null
  std::shared_ptr<ToolRunner> tools_;
  std::shared_ptr<MachineFacts> machine_;
  OverlayPlaces places_;
  HostPorts ports_;
  std::chrono::milliseconds toolLimit_;
};

}  // namespace quorl
