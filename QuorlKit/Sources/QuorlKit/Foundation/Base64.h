// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

// Base64 with the standard alphabet and padding (RFC 4648, section 4).
namespace quorl {

std::string base64Encoded(ByteView data);

// Strict: no white space, no missing padding, no set bits behind the last byte. Otherwise nothing.
std::optional<Bytes> base64Decoded(std::string_view text);

// For writers that own their buffer: `out` has room for `base64Length(data.size())` characters.
constexpr std::size_t base64Length(std::size_t byteCount) {
  return (byteCount + 2) / 3 * 4;
}
void base64Write(ByteView data, char* out);

}  // namespace quorl
