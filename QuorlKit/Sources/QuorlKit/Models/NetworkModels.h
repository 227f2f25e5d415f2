// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/URL.h>

namespace quorl {

enum class OverlayKind : std::uint8_t { tailscale, zerotier, none };
BOOST_DESCRIBE_ENUM(OverlayKind, tailscale, zerotier, none)

enum class OverlayHealth : std::uint8_t { online, notReady, notInstalled };
BOOST_DESCRIBE_ENUM(OverlayHealth, online, notReady, notInstalled)

struct NetworkStatus {
  OverlayKind overlay = OverlayKind::none;
  OverlayHealth health = OverlayHealth::notInstalled;
  std::optional<std::string> magicDNSName;
  std::optional<std::string> shortName;
  std::vector<std::string> overlayAddresses;
  std::vector<std::string> lanAddresses;
  std::uint16_t sessionPort = 0;
  std::uint16_t relayPort = 0;
  std::optional<std::string> guidance;
  std::optional<URL> actionURL;

  bool operator==(const NetworkStatus&) const = default;
};
BOOST_DESCRIBE_STRUCT(NetworkStatus, (),
                      (overlay, health, magicDNSName, shortName, overlayAddresses, lanAddresses, sessionPort,
                       relayPort, guidance, actionURL))

struct EchoProbe {
  std::uint32_t seq = 0;
  std::uint64_t clientMicros = 0;  // the client's clock
  Bytes padding;                   // sets the size of the probe

  bool operator==(const EchoProbe&) const = default;
};
BOOST_DESCRIBE_STRUCT(EchoProbe, (), (seq, clientMicros, padding))

}  // namespace quorl
