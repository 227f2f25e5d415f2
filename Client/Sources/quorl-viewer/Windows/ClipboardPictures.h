// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QImage>

#include <quorl-viewer/Clipboard/ClipboardItem.h>

/// Pictures of the clipboard. Any thread; a large one takes tenths of a second.
namespace quorl::viewer {

/// Nothing if it is no PNG, damaged, or larger than 64 million pixels.
std::optional<ClipboardItem> pictureItem(Bytes png);
std::optional<ClipboardItem> pictureItem(const QImage& picture);

}  // namespace quorl::viewer
