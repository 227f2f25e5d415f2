// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// ASCII letters only: independent of the locale, and valid UTF-8 stays valid.
namespace quorl {

constexpr char loweredASCII(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

inline std::string loweredASCII(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), [](char letter) { return loweredASCII(letter); });
  return result;
}

}  // namespace quorl
