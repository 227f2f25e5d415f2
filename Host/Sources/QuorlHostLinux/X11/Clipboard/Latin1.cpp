// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Clipboard/Latin1.h>

#include <algorithm>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

Bytes utf8FromLatin1(ByteView latin1) {
  Bytes utf8;
  utf8.reserve(latin1.size());
  for (const auto byte : latin1) {
    if (byte < 0x80) {
      utf8.push_back(byte);
    } else {
      utf8.push_back(static_cast<std::uint8_t>(0xC0 | (byte >> 6)));
      utf8.push_back(static_cast<std::uint8_t>(0x80 | (byte & 0x3F)));
    }
  }
  return utf8;
}

Bytes latin1FromUTF8(ByteView utf8) {
  Bytes latin1;
  latin1.reserve(utf8.size());
  const std::string_view text = textViewOf(utf8);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8SequenceLength(text.substr(at));
    const auto lead = utf8[at];
    if (length == 1) {
      latin1.push_back(lead);
    } else if (length == 2 && lead <= 0xC3) {
      // U+0080 to U+00FF: the lead byte has the two upper bits.
      latin1.push_back(static_cast<std::uint8_t>(((lead & 0x03) << 6) | (utf8[at + 1] & 0x3F)));
    } else {
      latin1.push_back('?');
    }
    at += std::max<std::size_t>(length, 1);
  }
  return latin1;
}

}  // namespace quorl
