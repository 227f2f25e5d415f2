// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Digest.h>

namespace quorl::viewer {

enum class ClipboardKind : std::uint8_t { text, image };

/// Content of a clipboard. Copies share the bytes.
struct ClipboardItem {
  ClipboardKind kind = ClipboardKind::text;
  SharedBytes bytes;  // UTF-8, or a PNG
  /// Equal for the same content in another form: of text the line ends do not count (`textDigest`), of a
  /// picture the pixels count, because clipboard managers encode pictures anew.
  SHA256Digest digest{};
};

SHA256Digest textDigest(std::string_view text);

ClipboardItem textItem(std::string_view text);

}  // namespace quorl::viewer
