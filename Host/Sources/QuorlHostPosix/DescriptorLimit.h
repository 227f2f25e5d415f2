// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

namespace quorl {

/// Allows this process up to `wanted` open descriptors, as far as the system lets it. Gives the limit that
/// was there before when it changed it: programs that this process starts are made for that one, as some
/// keep tables of the limit's size or close every number below it.
std::optional<std::uint64_t> raiseDescriptorLimit(std::uint64_t wanted);

}  // namespace quorl
