// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace quorl {

/// The configuration of one host process. Fixed once the runtime is built.
struct HostCoreConfig {
  std::uint16_t port = 0;                          // TCP port of the session listener
  std::optional<std::string> fixedPIN;             // if present, the PIN never changes
  std::optional<std::string> trustStoreDirectory;  // absolute; else the folder for application data
  bool advertiseBonjour = false;
  bool enableRelay = false;
  bool enableBackgroundServices = false;
  bool multiUserPortHandoff = false;  // the session port follows the console user
  bool enableTerminalBridge = false;
  std::uint16_t relayPort = 47'901;  // another one only for tests, which run several hosts
  // Present only for tests: a scan would disturb the servers of other tests.
  std::optional<std::set<std::uint16_t>> scannedPorts;

  /// The application's configuration.
  static const HostCoreConfig menuBar;

  bool operator==(const HostCoreConfig&) const = default;
};

}  // namespace quorl
