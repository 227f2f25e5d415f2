// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/RelayHead.h>

#include <algorithm>
#include <charconv>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Relay/HeaderText.h>

namespace quorl::RelayHead {

namespace {

constexpr std::string_view tokenItem = "quorl_token=";
constexpr std::string_view pathPrefix = "/p/";

// A head in UTF-8, cut into its parts. The views point into the text.
struct Parts {
  std::string_view method;
  std::string_view target;
  std::string_view version;
  std::vector<std::string_view> headerLines;  // not empty
};

std::optional<Parts> partsOf(std::string_view text) {
  std::vector<std::string_view> lines = splitAt(text, "\r\n");
  std::vector<std::string_view> words = splitAt(lines.front(), " ");
  std::erase(words, std::string_view());
  if (words.size() < 3) return std::nullopt;
  lines.erase(lines.begin());
  std::erase(lines, std::string_view());
  return Parts{words[0], words[1], words[2], std::move(lines)};
}

bool cookieAuthorizes(std::string_view value, const RelayTokens& tokens) {
  return std::ranges::any_of(splitAt(value, ";"), [&](std::string_view piece) {
    piece = trimmedHeaderText(piece);
    if (!piece.starts_with(tokenItem)) return false;
    const auto token = percentDecoded(piece.substr(tokenItem.size()));
    return token && tokens.contains(*token);
  });
}

bool headerAuthorizes(std::string_view line, const RelayTokens& tokens) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view name = trimmedHeaderText(line.substr(0, colon));
  const std::string_view value = trimmedHeaderText(line.substr(colon + 1));
  const auto isNamed = [name](std::string_view other) {
    return name.size() == other.size() && beginsWithIgnoringCase(name, other);
  };
  if (isNamed("x-quorl-token")) return tokens.contains(value);
  return isNamed("cookie") && cookieAuthorizes(value, tokens);
}

// A target without its tokens, and the last valid one.
struct Target {
  std::string text;
  std::optional<std::string> token;
};

Target scanQuery(std::string_view target, const RelayTokens& tokens) {
  const std::size_t mark = target.find('?');
  Target result{std::string(target.substr(0, mark)), std::nullopt};
  if (mark == std::string_view::npos) return result;
  char separator = '?';
  for (const std::string_view item : splitAt(target.substr(mark + 1), "&")) {
    if (item.empty()) continue;
    if (item.starts_with(tokenItem)) {
      const std::string_view raw = item.substr(tokenItem.size());
      std::string value = percentDecoded(raw).value_or(std::string(raw));
      if (tokens.contains(value)) result.token = std::move(value);
      continue;
    }
    result.text += separator;
    result.text += item;
    separator = '&';
  }
  return result;
}

// The port, and what follows it.
struct Address {
  std::uint16_t port = 0;
  std::string_view rest;
};

// Latin 1 has numbers that are no decimal digits. They belong to the port, which then is none.
bool beginsWithOtherNumber(std::string_view text) {
  constexpr std::string_view numbers[] = {"\u00B2", "\u00B3", "\u00B9", "\u00BC", "\u00BD", "\u00BE"};
  return std::ranges::any_of(numbers, [text](std::string_view number) { return text.starts_with(number); });
}

std::optional<Address> addressOf(std::string_view target) {
  if (!target.starts_with(pathPrefix)) return std::nullopt;
  target.remove_prefix(pathPrefix.size());
  Address address;
  const char* const end = target.data() + target.size();
  const auto [rest, error] = std::from_chars(target.data(), end, address.port);
  if (error != std::errc()) return std::nullopt;
  address.rest = std::string_view(rest, static_cast<std::size_t>(end - rest));
  if (beginsWithOtherNumber(address.rest)) return std::nullopt;
  return address;
}

std::optional<std::string> tailOf(std::string_view rest) {
  if (rest.empty()) return "/";
  if (rest.front() == '/') return std::string(rest);
  if (rest.front() == '?') return "/" + std::string(rest);
  return std::nullopt;
}

std::string rewritten(const Parts& parts, const std::string& tail, std::uint16_t port) {
  std::string head;
  std::size_t size = tail.size() + 256;
  for (const std::string_view line : parts.headerLines) size += line.size() + 2;
  head.reserve(size);
  fmt::format_to(std::back_inserter(head), "{} {} {}\r\nHost: 127.0.0.1:{}\r\n", parts.method, tail,
                 parts.version, port);
  for (const std::string_view line : parts.headerLines) {
    if (beginsWithIgnoringCase(line, "x-quorl-token:") || beginsWithIgnoringCase(line, "host:")) continue;
    if (beginsWithIgnoringCase(line, "cookie:")) {
      const auto kept = strippingQuorlToken(line);
      if (!kept) continue;
      head += *kept;
    } else {
      head += line;
    }
    head += "\r\n";
  }
  head += "\r\n";
  return head;
}

std::unexpected<RelayRejection> rejected(std::string_view status,
                                         std::optional<std::uint16_t> refusedPort = std::nullopt) {
  return std::unexpected(RelayRejection{status, refusedPort});
}

}  // namespace

std::expected<RelayRequest, RelayRejection> decide(ByteView head, const RelayTokens& tokens,
                                                   const AllowedPorts& allowedPorts) {
  const std::string text = utf8OfLatin1(head);
  const auto parts = partsOf(text);
  if (!parts) return rejected(badRequest);
  if (tokens.isEmpty()) return rejected(forbidden);
  bool authorized = false;
  for (const std::string_view line : parts->headerLines) authorized |= headerAuthorizes(line, tokens);
  const Target target = scanQuery(parts->target, tokens);
  if (!authorized && !target.token) return rejected(forbidden);

  const auto address = addressOf(target.text);
  if (!address) return rejected(notFound);
  if (!allowedPorts().contains(address->port)) return rejected(forbidden, address->port);
  auto tail = tailOf(address->rest);
  if (!tail) return rejected(notFound);

  RelayRequest request{.method = std::string(parts->method),
                       .port = address->port,
                       .tail = std::move(*tail),
                       .head = {},
                       .cookie = std::nullopt};
  request.head = rewritten(*parts, request.tail, request.port);
  if (target.token)
    request.cookie = "Set-Cookie: quorl_token=" + percentEncoded(*target.token) + "; Path=/; HttpOnly";
  return request;
}

std::optional<std::string> strippingQuorlToken(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return std::string(line);
  std::string kept;
  for (std::string_view piece : splitAt(line.substr(colon + 1), ";")) {
    piece = trimmedHeaderText(piece);
    if (piece.empty() || beginsWithIgnoringCase(piece, tokenItem)) continue;
    kept += kept.empty() ? "Cookie: " : "; ";
    kept += piece;
  }
  if (kept.empty()) return std::nullopt;
  return kept;
}

}  // namespace quorl::RelayHead
