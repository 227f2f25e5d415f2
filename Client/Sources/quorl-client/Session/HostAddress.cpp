// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/HostAddress.h>

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

namespace quorl::client {
namespace {

std::optional<std::uint16_t> parsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port == 0) return std::nullopt;
  return port;
}

bool isPlausibleHost(std::string_view host) {
  return !host.empty() && std::ranges::none_of(host, [](unsigned char character) {
    return character <= ' ' || character == 0x7F || character == '[' || character == ']' || character == '/';
  });
}

std::optional<HostAddress> withPort(std::string_view host, std::string_view portText) {
  const auto port = parsePort(portText);
  if (!port || !isPlausibleHost(host)) return std::nullopt;
  return HostAddress{std::string(host), *port};
}

}  // namespace

std::optional<HostAddress> HostAddress::parse(std::string_view text) {
  if (text.starts_with('[')) {
    const auto close = text.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    const auto host = text.substr(1, close - 1);
    const auto rest = text.substr(close + 1);
    if (rest.starts_with(':')) return withPort(host, rest.substr(1));
    if (!rest.empty() || !isPlausibleHost(host)) return std::nullopt;
    return HostAddress{std::string(host)};
  }
  if (std::ranges::count(text, ':') == 1) {
    const auto colon = text.find(':');
    return withPort(text.substr(0, colon), text.substr(colon + 1));
  }
  if (!isPlausibleHost(text)) return std::nullopt;
  return HostAddress{std::string(text)};
}

std::string HostAddress::text() const {
  const bool isIPv6 = host.contains(':');
  if (port == WireProtocol::defaultPort) return host;
  return isIPv6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

}  // namespace quorl::client
