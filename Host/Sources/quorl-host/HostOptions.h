// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quorl {

/// The options of the command line. Unknown arguments are ignored.
struct HostOptions {
  bool verbose = false;            // --verbose, anywhere
  std::optional<std::string> pin;  // the argument after the first --pin

  bool operator==(const HostOptions&) const = default;
};

/// `arguments` without the program's name.
HostOptions parseHostOptions(const std::vector<std::string>& arguments);

/// The line that names the source of the PIN.
std::string pinAnnouncement(const HostOptions& options);

/// The value of QUORL_HOST_PORT or QUORL_RELAY_PORT, with which tests run hosts beside the one on the
/// standard ports. Absent unless it is a port number above 0.
std::optional<std::uint16_t> parseTestPort(const std::optional<std::string>& value);

/// The value of QUORL_SCAN_PORTS: the only ports in which a test's host looks for web services, separated by
/// commas. What is no port number is left out. Absent without the variable.
std::optional<std::set<std::uint16_t>> parseTestPorts(const std::optional<std::string>& value);

}  // namespace quorl
