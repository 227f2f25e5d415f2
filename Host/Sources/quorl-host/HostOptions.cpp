// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostOptions.h"

#include <algorithm>
#include <charconv>
#include <ranges>

namespace quorl {

HostOptions parseHostOptions(const std::vector<std::string>& arguments) {
  HostOptions options;
  options.verbose = std::find(arguments.begin(), arguments.end(), "--verbose") != arguments.end();
  const auto pin = std::find(arguments.begin(), arguments.end(), "--pin");
  if (pin != arguments.end() && pin + 1 != arguments.end()) options.pin = *(pin + 1);
  return options;
}

std::string pinAnnouncement(const HostOptions& options) {
  return "pairing PIN: " + options.pin.value_or("random — see the menu bar");
}

std::optional<std::uint16_t> parseTestPort(const std::optional<std::string>& value) {
  if (!value) return std::nullopt;
  std::uint16_t port = 0;
  const char* end = value->data() + value->size();
  const auto [rest, error] = std::from_chars(value->data(), end, port);
  if (error != std::errc() || rest != end || port == 0) return std::nullopt;
  return port;
}

std::optional<std::set<std::uint16_t>> parseTestPorts(const std::optional<std::string>& value) {
  if (!value) return std::nullopt;
  std::set<std::uint16_t> ports;
  for (const auto part : std::views::split(*value, ','))
    if (const auto port = parseTestPort(std::string(part.begin(), part.end()))) ports.insert(*port);
  return ports;
}

}  // namespace quorl
