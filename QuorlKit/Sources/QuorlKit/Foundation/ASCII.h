// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// Letters of ASCII alone: the same in every locale, and UTF-8 stays UTF-8.
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
