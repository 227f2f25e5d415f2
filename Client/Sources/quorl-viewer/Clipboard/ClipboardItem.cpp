// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Clipboard/ClipboardItem.h>

#include <string>

namespace quorl::viewer {

SHA256Digest textDigest(std::string_view text) {
  SHA256 digest;
  for (std::size_t start = 0; start < text.size();) {
    const auto cut = text.find("\r\n", start);
    if (cut == std::string_view::npos) {
      digest.update(viewOf(text.substr(start)));
      break;
    }
    digest.update(viewOf(text.substr(start, cut - start)));
    start = cut + 1;
  }
  return digest.finish();
}

ClipboardItem textItem(std::string_view text) {
  return {ClipboardKind::text, shareBytes(bytesOf(text)), textDigest(text)};
}

}  // namespace quorl::viewer
