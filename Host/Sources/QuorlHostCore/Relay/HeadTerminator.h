// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The end of an HTTP head.
inline constexpr std::string_view headTerminator = "\r\n\r\n";

/// Where the first terminator begins, if the first `searched` bytes contain none. Each byte is searched once,
/// however small the pieces of a head are.
inline std::optional<std::size_t> findTerminator(ByteView bytes, std::size_t searched) {
  const std::size_t overlap = std::min(searched, headTerminator.size() - 1);
  const std::size_t found = textViewOf(bytes).find(headTerminator, searched - overlap);
  if (found == std::string_view::npos) return std::nullopt;
  return found;
}

}  // namespace quorl
