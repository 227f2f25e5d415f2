// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

/// Base64 with the standard alphabet and padding (RFC 4648, section 4). Pure functions, any thread.
///
/// Own code, because OpenSSL's decoders accept what this one must refuse: they skip white space and ignore
/// set bits after the last byte ("Zh=="), so one value would have several texts; EVP_DecodeBlock also counts
/// the padding as data. Writing straight into the caller's buffer saves the copy of each terminal frame.
namespace quorl {

std::string base64Encoded(ByteView data);

/// The same text in the alphabet for URLs, without padding (RFC 4648, section 5).
std::string base64ForURL(std::string text);

/// Nothing if the text has white space, lacks padding, or has set bits after the last byte.
std::optional<Bytes> base64Decoded(std::string_view text);

/// For writers with a buffer of their own: `out` has room for `base64Length(data.size())` characters.
constexpr std::size_t base64Length(std::size_t byteCount) {
  return (byteCount + 2) / 3 * 4;
}
void base64Write(ByteView data, char* out);

}  // namespace quorl
