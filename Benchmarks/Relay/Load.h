// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace quorl::bench {

struct Target {
  std::uint16_t port = 0;
  std::string prefix;   // of a path
  std::string headers;  // with line ends
};

/// Requests a second over `connections` kept-alive connections, each with one request under way.
double keptAliveRate(const Target& target, int connections, std::chrono::milliseconds duration);

/// Connections a second, one request each, `parallel` at a time. Each ends when the server has closed it.
double connectionRate(const Target& target, int parallel, std::chrono::milliseconds duration);

/// Bytes a second of one big answer.
double bodyRate(const Target& target);

/// Connections whose protocol was switched, each used once and then silent.
std::vector<int> openIdlePipes(const Target& target, int count);

}  // namespace quorl::bench
