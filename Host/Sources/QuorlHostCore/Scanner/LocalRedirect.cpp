// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/LocalRedirect.h>

#include <algorithm>
#include <charconv>
#include <vector>

#include <QuorlKit/Foundation/ASCII.h>

namespace quorl {

namespace {

constexpr std::size_t maxLocation = 4096;
constexpr std::uint16_t httpPort = 80;

bool belongsInRequestLine(std::string_view text) {
  return std::ranges::all_of(text, [](char character) { return character > ' ' && character < '\x7F'; });
}

// `authority` is a host, and a colon and a port unless it is the usual one.
bool isThisServer(std::string_view authority, std::uint16_t port) {
  const std::size_t colon = authority.find(':');
  const std::string host = loweredASCII(authority.substr(0, colon));
  if (host != "127.0.0.1" && host != "localhost") return false;
  const std::string_view digits = colon == std::string_view::npos ? "" : authority.substr(colon + 1);
  if (digits.empty()) return port == httpPort;
  std::uint16_t named = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), named);
  return error == std::errc() && end == digits.data() + digits.size() && named == port;
}

// Without "." and ".." (RFC 3986, section 5.2.4). `path` begins with a slash.
std::string withoutDotSegments(std::string_view path) {
  std::vector<std::string_view> kept;
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t end = std::min(path.find('/', at + 1), path.size());
    const std::string_view segment = path.substr(at, end - at);
    const bool isLast = end == path.size();
    if (segment == "/..") {
      if (!kept.empty()) kept.pop_back();
      if (isLast) kept.emplace_back("/");
    } else if (segment == "/.") {
      if (isLast) kept.emplace_back("/");
    } else {
      kept.push_back(segment);
    }
    at = end;
  }
  std::string result;
  for (const std::string_view segment : kept) result += segment;
  return result.empty() ? "/" : result;
}

// The path and query that a reference without scheme and authority means.
std::string resolved(std::string_view reference, std::string_view base) {
  const std::string_view basePath = base.substr(0, base.find('?'));
  if (reference.starts_with('?')) return std::string(basePath) + std::string(reference);
  const std::size_t query = std::min(reference.find('?'), reference.size());
  std::string path(reference.substr(0, query));
  if (!path.starts_with('/')) path = std::string(basePath.substr(0, basePath.rfind('/') + 1)) + path;
  return withoutDotSegments(path) + std::string(reference.substr(query));
}

// The reference without scheme and authority. Nothing if they name another server.
std::optional<std::string> withinServer(std::string_view location, std::uint16_t port) {
  const std::size_t end = location.find_first_of(":/?");
  if (end != std::string_view::npos && location[end] == ':') {
    if (loweredASCII(location.substr(0, end)) != "http") return std::nullopt;
    location.remove_prefix(end + 1);
    if (!location.starts_with("//")) return std::nullopt;
  }
  if (!location.starts_with("//")) return std::string(location);
  location.remove_prefix(2);
  const std::size_t authorityEnd = std::min(location.find_first_of("/?"), location.size());
  if (!isThisServer(location.substr(0, authorityEnd), port)) return std::nullopt;
  location.remove_prefix(authorityEnd);
  return (location.starts_with('/') ? "" : "/") + std::string(location);
}

}  // namespace

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::optional<std::string> localRedirect(std::string_view location, std::string_view path,
                                         std::uint16_t port) {
  location = location.substr(0, location.find('#'));
  if (location.empty() || location.size() > maxLocation || !belongsInRequestLine(location))
    return std::nullopt;
  const auto reference = withinServer(location, port);
  if (!reference) return std::nullopt;
  std::string target = resolved(*reference, path);
  if (target == path) return std::nullopt;
  return target;
}

}  // namespace quorl
