// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// An identifier derived from a text, the same in every run and on every machine: two 64-bit hashes of the
/// UTF-8 bytes, each big-endian, without version or variant bits. Not for secrets.
UUID stableUUID(std::string_view from);

}  // namespace quorl
