// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// How sockets whose sending side is shut down are kept until their peer has closed them too.
namespace quorl::InputDrain {

inline constexpr std::chrono::seconds maxTime{2};
inline constexpr std::size_t maxBytes = 4'194'304;
inline constexpr std::size_t maxSockets = 512;

enum class Outcome : std::uint8_t { waiting, ended };

/// Reads and discards at most `allowance` bytes, which it reduces. Never blocks.
Outcome discard(int descriptor, std::size_t& allowance);

}  // namespace quorl::InputDrain
