// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// A saved launch entry.
struct AgentCatalogEntry {
  UUID id;
  std::string name;
  std::string command;
  std::string workingDirectory;
  std::map<std::string, std::string> env;
  bool builtin = false;               // supplied by the host itself
  std::optional<std::string> symbol;  // name in the client's icon set

  bool operator==(const AgentCatalogEntry&) const = default;
};
BOOST_DESCRIBE_STRUCT(AgentCatalogEntry, (), (id, name, command, workingDirectory, env, builtin, symbol))

/// A web service that the user added by hand.
struct CustomService {
  UUID id;
  std::string name;
  std::optional<std::uint16_t> port;
  std::optional<std::string> urlString;  // overrides `port`
  std::optional<std::string> note;

  /// The URL of the service, or empty text.
  std::string fullURLString() const;
  /// The URL for what a user typed into one field: a port number becomes a local URL, a text without a scheme
  /// gets "http://".
  static std::string normalizeURLInput(std::string_view input);

  bool operator==(const CustomService&) const = default;
};
BOOST_DESCRIBE_STRUCT(CustomService, (), (id, name, port, urlString, note))

}  // namespace quorl
