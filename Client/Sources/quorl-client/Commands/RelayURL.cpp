// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/RelayURL.h>

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Base64.h>

namespace quorl::client {
namespace {

bool isOneOf(char character, std::string_view set) {
  return set.find(character) != std::string_view::npos;
}

bool isLetterOrDigit(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9');
}

bool isHexDigit(char character) {
  return isLetterOrDigit(character) && (character <= '9' || (character | 0x20) <= 'f');
}

// Keeps the characters of a path and a query (RFC 3986, 3.3 and 3.4) and what is percent-encoded already.
std::string encoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    const bool isEncoded =
        character == '%' && at + 2 < text.size() && isHexDigit(text[at + 1]) && isHexDigit(text[at + 2]);
    if (isEncoded || isLetterOrDigit(character) || isOneOf(character, "-._~!$&'()*+,;=:@/?"))
      result += character;
    else
      result += fmt::format("%{:02X}", static_cast<unsigned char>(character));
  }
  return result;
}

// The form without characters that mean something in a query.
// The zone of a link-local address is separated by "%25" (RFC 6874).
std::string authority(const std::string& host) {
  if (!host.contains(':')) return host;
  const std::size_t zone = std::min(host.find('%'), host.size());
  const std::string_view separator = zone == host.size() ? "" : "%25";
  return fmt::format("[{}{}{}]", host.substr(0, zone), separator,
                     host.substr(std::min(zone + 1, host.size())));
}

}  // namespace

std::string relayURL(const RelayTarget& target, const Bytes& token) {
  const std::size_t fragmentStart = std::min(target.path.find('#'), target.path.size());
  const std::string_view path = std::string_view(target.path).substr(0, fragmentStart);
  const std::string_view fragment = std::string_view(target.path).substr(fragmentStart);
  return fmt::format("http://{}:{}/p/{}{}{}{}quorl_token={}{}{}", authority(target.host), target.relayPort,
                     target.servicePort, path.starts_with('/') ? "" : "/", encoded(path),
                     path.contains('?') ? "&" : "?", base64ForURL(base64Encoded(token)),
                     fragment.empty() ? "" : "#", fragment.empty() ? "" : encoded(fragment.substr(1)));
}

}  // namespace quorl::client
