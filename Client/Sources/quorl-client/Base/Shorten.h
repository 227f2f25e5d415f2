// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>

namespace quorl::client {

/// Cuts a foreign text (UTF-8) to at most so many bytes, before the first byte of a character.
inline void shorten(std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U) --bytes;
  text.resize(bytes);
}

}  // namespace quorl::client
