// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

namespace quorl {

/// Allows this process up to `wanted` open descriptors, as far as the system allows. Returns the earlier
/// limit if it changed it. Started programs should get that one: some keep tables of the limit's size or
/// close every number below it.
std::optional<std::uint64_t> raiseDescriptorLimit(std::uint64_t wanted);
/// Sets the limit back to an earlier one. Descriptors above it stay open.
void lowerDescriptorLimit(std::uint64_t earlier);

}  // namespace quorl
