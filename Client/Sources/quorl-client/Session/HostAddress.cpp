// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/HostAddress.h>

#include <algorithm>
#include <charconv>

#include <QuorlKit/Foundation/ASCII.h>
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

constexpr std::string_view sshScheme = "ssh://";

// ssh passes both to commands of its configuration (%h, %r), so they must be plain words. A first '-' would
// make an option of them.
bool isPlainWord(std::string_view word) {
  constexpr std::string_view special = "'\"`$\\;&<>|(){}[]*?!#@/,=~^";
  return !word.empty() && word.front() != '-' && std::ranges::none_of(word, [&](unsigned char character) {
    return character <= ' ' || character == 0x7F || special.contains(static_cast<char>(character));
  });
}

bool isSSHUser(std::string_view user) {
  // A colon would begin a password, which does not belong into a command line.
  return isPlainWord(user) && !user.contains(':') && !user.contains('%');
}

// Removes "?port=N" from the end. False if there is another query.
bool takePortQuery(std::string_view& text, std::uint16_t& port) {
  const auto question = text.find('?');
  if (question == std::string_view::npos) return true;
  constexpr std::string_view key = "?port=";
  const auto query = text.substr(question);
  if (!query.starts_with(key)) return false;
  const auto parsed = parsePort(query.substr(key.size()));
  if (!parsed) return false;
  port = *parsed;
  text = text.substr(0, question);
  return true;
}

// `text`: after the scheme.
std::optional<HostAddress> parseSSH(std::string_view text) {
  std::uint16_t sessionPort = WireProtocol::defaultPort;
  if (!takePortQuery(text, sessionPort)) return std::nullopt;
  if (text.ends_with('/')) text.remove_suffix(1);
  SSHLogin login;
  if (const auto at = text.rfind('@'); at != std::string_view::npos) {
    login.user = text.substr(0, at);
    if (!isSSHUser(login.user)) return std::nullopt;
    text = text.substr(at + 1);
  }
  std::string_view host = text;
  std::string_view rest;
  if (text.starts_with('[')) {
    const auto close = text.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = text.substr(1, close - 1);
    rest = text.substr(close + 1);
  } else if (const auto colon = text.find(':'); colon != std::string_view::npos) {
    host = text.substr(0, colon);
    rest = text.substr(colon);
  }
  if (!isPlainWord(host)) return std::nullopt;
  if (!rest.empty()) {
    const auto port = rest.front() == ':' ? parsePort(rest.substr(1)) : std::nullopt;
    if (!port) return std::nullopt;
    login.port = *port;
  }
  return HostAddress{std::string(host), sessionPort, std::move(login)};
}

}  // namespace

std::optional<HostAddress> HostAddress::parse(std::string_view text) {
  if (loweredASCII(text.substr(0, sshScheme.size())) == sshScheme)
    return parseSSH(text.substr(sshScheme.size()));
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

std::string HostAddress::textWithoutPort() const {
  if (!ssh) return host;
  const auto user = ssh->user.empty() ? std::string() : ssh->user + "@";
  const auto bracketed = host.contains(':') ? fmt::format("[{}]", host) : host;
  const auto sshPort = ssh->port == 0 ? std::string() : fmt::format(":{}", ssh->port);
  return fmt::format("{}{}{}{}", sshScheme, user, bracketed, sshPort);
}

std::string HostAddress::text() const {
  if (port == WireProtocol::defaultPort) return textWithoutPort();
  if (ssh) return fmt::format("{}?port={}", textWithoutPort(), port);
  return host.contains(':') ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

bool isSameAddress(const HostAddress& a, const HostAddress& b) {
  return a.port == b.port && a.ssh == b.ssh && loweredASCII(a.host) == loweredASCII(b.host);
}

}  // namespace quorl::client
