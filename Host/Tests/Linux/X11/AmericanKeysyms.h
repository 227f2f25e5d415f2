// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>

namespace quorl::test {

/// The keysyms of the 120 wire keys on the American layout of xkeyboard-config.
const std::map<std::uint16_t, std::uint32_t>& americanKeysyms();

}  // namespace quorl::test
