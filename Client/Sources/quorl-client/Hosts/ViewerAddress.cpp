// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/ViewerAddress.h>

#include <algorithm>
#include <charconv>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlKit/WireProtocol.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

constexpr std::string_view scheme = "quorl://";
constexpr std::size_t longestAddress = 4'096;
constexpr std::size_t longestHost = 255;

bool isPlain(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Characters that need no encoding (RFC 3986, "unreserved").
bool isUnreserved(unsigned char c) {
  return isPlain(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// C0, DEL and C1 (U+0080 to U+009F), marks that reorder text or end lines (U+2028 to U+202E, U+2066 to
/// U+2069).
bool hasControlCharacters(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto at = [&](std::size_t offset) {
      return i + offset < text.size() ? static_cast<unsigned char>(text[i + offset]) : 0U;
    };
    if (at(0) < 0x20 || at(0) == 0x7F) return true;
    if (at(0) == 0xC2 && at(1) >= 0x80 && at(1) <= 0x9F) return true;
    if (at(0) == 0xE2 && at(1) == 0x80 && at(2) >= 0xA8 && at(2) <= 0xAE) return true;
    if (at(0) == 0xE2 && at(1) == 0x81 && at(2) >= 0xA6 && at(2) <= 0xA9) return true;
  }
  return false;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '?' || c == '#' || c == '/') return std::nullopt;
    if (c != '%') {
      result += c;
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = hexDigit(text[i + 1]);
    const int low = hexDigit(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (result.empty() || !isValidUTF8(result) || hasControlCharacters(result)) return std::nullopt;
  return result;
}

std::string encoded(std::string_view text) {
  std::string result;
  for (const unsigned char c : text) {
    if (isUnreserved(c)) {
      result += static_cast<char>(c);
    } else {
      result += fmt::format("%{:02X}", c);
    }
  }
  return result;
}

template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

bool isHostName(std::string_view host) {
  if (host.empty() || host.size() > longestHost || host.front() == '-' || host.front() == '.') return false;
  return std::ranges::all_of(host,
                             [](unsigned char c) { return isPlain(c) || c == '-' || c == '.' || c == '_'; });
}

/// With the zone of a link-local address (fe80::1%eth0).
bool isIPv6(std::string_view host) {
  const auto percent = host.find('%');
  const auto address = host.substr(0, percent);
  if (address.size() < 2 || !address.contains(':') || host.size() > longestHost) return false;
  if (percent != std::string_view::npos && !isHostName(host.substr(percent + 1))) return false;
  return std::ranges::all_of(address, [](char c) { return hexDigit(c) >= 0 || c == ':' || c == '.'; });
}

/// HOST, HOST:PORT, [IPv6], [IPv6]:PORT
bool parseAuthority(std::string_view text, ViewerAddress& address) {
  std::string_view host = text;
  std::string_view port;
  if (text.starts_with('[')) {
    const auto close = text.find(']');
    if (close == std::string_view::npos) return false;
    host = text.substr(1, close - 1);
    port = text.substr(close + 1);
    if (!isIPv6(host)) return false;
  } else {
    const auto colon = text.find(':');
    host = text.substr(0, colon);
    if (colon != std::string_view::npos) port = text.substr(colon);
    if (!isHostName(host)) return false;
  }
  address.host = host;
  address.port = WireProtocol::defaultPort;
  if (port.empty()) return true;
  const auto number = port.starts_with(':') ? numberOf<std::uint16_t>(port.substr(1)) : std::nullopt;
  if (!number || *number == 0) return false;
  address.port = *number;
  return true;
}

}  // namespace

std::optional<ViewTarget> parseTarget(std::string_view text) {
  if (text.empty() || text == "display") return viewTarget::MainDisplay{};
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const auto kind = text.substr(0, slash);
  const auto rest = text.substr(slash + 1);
  if (kind == "display") {
    const auto id = numberOf<std::uint32_t>(rest);
    if (!id) return std::nullopt;
    return viewTarget::Display{*id};
  }
  auto name = decoded(rest);
  if (!name) return std::nullopt;
  if (kind == "window") return viewTarget::Window{std::move(*name)};
  if (kind != "app") return std::nullopt;
  if (name->contains('/') || name->front() == '.' || name->front() == '-') return std::nullopt;
  return viewTarget::App{std::move(*name)};
}

std::string textOf(const ViewTarget& target) {
  if (const auto* display = std::get_if<viewTarget::Display>(&target))
    return fmt::format("display/{}", display->id);
  if (const auto* window = std::get_if<viewTarget::Window>(&target))
    return "window/" + encoded(window->title);
  if (const auto* app = std::get_if<viewTarget::App>(&target)) return "app/" + encoded(app->bundleID);
  return "display";
}

bool ViewerAddress::isURL(std::string_view text) {
  return loweredASCII(text.substr(0, scheme.size())) == scheme;
}

std::optional<ViewerAddress> ViewerAddress::parse(std::string_view url) {
  if (url.size() > longestAddress || !isURL(url)) return std::nullopt;
  auto rest = url.substr(scheme.size());
  const auto slash = rest.find('/');
  const auto authority = rest.substr(0, slash);
  auto path = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
  ViewerAddress address;
  if (!parseAuthority(authority, address)) return std::nullopt;
  auto target = parseTarget(path);
  if (!target) return std::nullopt;
  address.target = std::move(*target);
  return address;
}

std::string ViewerAddress::text() const {
  std::string result(scheme);
  result += host.contains(':') ? "[" + host + "]" : host;
  if (port != WireProtocol::defaultPort) result += fmt::format(":{}", port);
  if (!std::holds_alternative<viewTarget::MainDisplay>(target)) result += "/" + textOf(target);
  return result;
}

}  // namespace quorl::client
