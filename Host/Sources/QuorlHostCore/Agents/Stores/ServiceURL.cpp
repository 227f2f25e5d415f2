// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Stores/ServiceURL.h>

#include <algorithm>
#include <charconv>

namespace quorl {

namespace {

bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool isHexDigit(char character) {
  return isDigit(character) || (character >= 'a' && character <= 'f') ||
         (character >= 'A' && character <= 'F');
}

// RFC 3986, section 2: the reserved and unreserved characters, and "%" with two digits.
bool hasOnlyURICharacters(std::string_view text) {
  constexpr std::string_view marks = "-._~:/?#[]@!$&'()*+,;=";
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (character == '%') {
      if (at + 2 >= text.size() || !isHexDigit(text[at + 1]) || !isHexDigit(text[at + 2])) return false;
      at += 2;
    } else if (!isLetter(character) && !isDigit(character) &&
               marks.find(character) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

// Section 3.1.
bool isScheme(std::string_view text) {
  const auto belongs = [](char character) {
    return isLetter(character) || isDigit(character) || character == '+' || character == '-' ||
           character == '.';
  };
  return !text.empty() && isLetter(text.front()) && std::ranges::all_of(text, belongs);
}

// Sections 3.2.2 and 3.2.3, without the user information. False if the port is not a number.
bool splitHostAndPort(std::string_view authority, std::string_view& host, std::string_view& port) {
  if (authority.starts_with('[')) {
    const std::size_t end = authority.find(']');
    if (end == std::string_view::npos) return false;
    host = authority.substr(1, end - 1);
    port = authority.substr(end + 1);
    if (!port.empty() && port.front() != ':') return false;
  } else {
    const std::size_t colon = authority.find(':');
    host = authority.substr(0, colon);
    port = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    if (host.find_first_of("[]") != std::string_view::npos) return false;
  }
  if (!port.empty()) port.remove_prefix(1);
  return std::ranges::all_of(port, isDigit);
}

}  // namespace

std::optional<ServiceURL> ServiceURL::parse(std::string_view text) {
  if (!hasOnlyURICharacters(text)) return std::nullopt;
  ServiceURL url;
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && isScheme(text.substr(0, colon))) {
    url.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (!text.starts_with("//")) return std::nullopt;
  text.remove_prefix(2);
  std::string_view authority = text.substr(0, text.find_first_of("/?#"));
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
    authority.remove_prefix(at + 1);
  std::string_view host;
  std::string_view port;
  if (!splitHostAndPort(authority, host, port) || host.empty()) return std::nullopt;
  url.host = host;
  if (!port.empty()) {
    std::uint64_t number = 0;
    const auto read = std::from_chars(port.data(), port.data() + port.size(), number);
    url.port = read.ec == std::errc() ? number : UINT64_MAX;  // an overlong number exceeds any port
  }
  return url;
}

}  // namespace quorl
