// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// What `tailscale status --json` says about this machine.
struct TailscaleStatus {
  std::string backendState = "NoState";
  std::optional<std::string> dnsName;   // without its trailing dot; not empty
  std::optional<std::string> hostName;  // the name of the machine, not of the network
  std::vector<std::string> addresses;   // those that begin with "100." first

  bool isOnline() const { return backendState == "Running"; }
  /// The first label of the name in the network, else the name of the machine.
  std::optional<std::string> shortName() const;

  /// Nothing if the output is no JSON object.
  static std::optional<TailscaleStatus> parse(ByteView output);

  bool operator==(const TailscaleStatus&) const = default;
};

}  // namespace quorl
