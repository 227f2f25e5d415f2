// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Models/AgentCatalogModels.h>

#include <charconv>

#include <fmt/format.h>

#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

namespace {

std::string localURL(std::uint16_t port) {
  return fmt::format("http://localhost:{}/", port);
}

std::optional<std::uint16_t> portNumber(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  std::uint16_t port = 0;
  const char* const last = text.data() + text.size();
  const auto [end, code] = std::from_chars(text.data(), last, port);
  if (code != std::errc() || end != last) return std::nullopt;
  return port;
}

}  // namespace

std::string CustomService::fullURLString() const {
  if (urlString) {
    const std::string_view url = trimmedBlanks(*urlString);
    if (!url.empty()) return std::string(url);
  }
  return port ? localURL(*port) : std::string();
}

std::string CustomService::normalizeURLInput(std::string_view input) {
  const std::string_view text = trimmedBlanks(input);
  if (text.empty()) return {};
  if (const auto typedPort = portNumber(text)) return localURL(*typedPort);
  if (text.find("://") != std::string_view::npos) return std::string(text);
  return fmt::format("http://{}", text);
}

}  // namespace quorl
