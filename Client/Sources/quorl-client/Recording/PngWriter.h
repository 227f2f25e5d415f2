// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include <quorl-client/Video/Decoder.h>

namespace quorl::client {

/// PNG (ISO/IEC 15948) with 8 bits for each of red, green and blue.
Outcome<Bytes> encodePNG(const DecodedPicture& picture);

/// Replaces `path` in one step; see QuorlUnix/AtomicFile.h.
Outcome<void> writePNG(const DecodedPicture& picture, const std::filesystem::path& path);

}  // namespace quorl::client
