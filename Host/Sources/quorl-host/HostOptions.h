// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorl {

/// What the command line asks for. Unknown arguments are ignored.
struct HostOptions {
  bool verbose = false;            // --verbose, anywhere
  std::optional<std::string> pin;  // the argument behind the first --pin, whatever it is

  bool operator==(const HostOptions&) const = default;
};

/// `arguments` without the program's name.
HostOptions parseHostOptions(const std::vector<std::string>& arguments);

/// The line that tells where the PIN comes from.
std::string pinAnnouncement(const HostOptions& options);

/// The value of QUORL_HOST_PORT, the variable by which tests run hosts beside the one on the standard port.
/// Absent unless it is a port number above 0.
std::optional<std::uint16_t> parseTestPort(const std::optional<std::string>& value);

}  // namespace quorl
