// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ListenerText.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <optional>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::size_t commandField = 0;
constexpr std::size_t processField = 1;
constexpr std::size_t addressField = 8;

using Fields = std::array<std::string_view, addressField + 1>;

template <class Number>
std::optional<Number> decimal(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Takes the text before the next separator, and removes both.
std::string_view takePiece(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return piece;
}

std::optional<Fields> fieldsOf(std::string_view line) {
  Fields fields;
  for (std::string_view& field : fields) {
    while (field.empty() && !line.empty()) field = takePiece(line, ' ');
    if (field.empty()) return std::nullopt;
  }
  return fields;
}

ListeningSocket::Reach reachOf(std::string_view host) {
  if (host == "127.0.0.1" || host == "[::1]" || host == "localhost") return ListeningSocket::Reach::loopback;
  if (host == "*" || host == "[::]" || host == "0.0.0.0") return ListeningSocket::Reach::everywhere;
  return ListeningSocket::Reach::oneAddress;
}

std::optional<ListeningSocket> socketIn(std::string_view line) {
  const auto fields = fieldsOf(line);
  if (!fields) return std::nullopt;
  const std::string_view address = (*fields)[addressField];
  const std::size_t colon = address.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto port = decimal<std::uint16_t>(address.substr(colon + 1));
  if (!port) return std::nullopt;
  return ListeningSocket{.port = *port,
                         .processName = std::string((*fields)[commandField]),
                         .pid = decimal<std::int32_t>((*fields)[processField]).value_or(0),
                         .reach = reachOf(address.substr(0, colon))};
}

}  // namespace

std::vector<ListeningSocket> listeningSocketsIn(std::string_view lsofOutput) {
  std::vector<ListeningSocket> sockets;
  if (!isValidUTF8(lsofOutput)) return sockets;
  bool isHeader = true;
  while (!lsofOutput.empty()) {
    const std::string_view line = takePiece(lsofOutput, '\n');
    if (line.empty()) continue;
    if (!isHeader)
      if (auto socket = socketIn(line)) sockets.push_back(std::move(*socket));
    isHeader = false;
  }
  return sockets;
}

}  // namespace quorl
