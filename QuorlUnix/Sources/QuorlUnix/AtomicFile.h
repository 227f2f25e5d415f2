// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <system_error>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class FileAccess : std::uint8_t {
  ownerOnly,  // 0600, regardless of the umask
  byUmask     // 0666 less the umask, as for any new file
};

/// Replaces the file at `path` in one step: after a crash at any instant the path names the old file or the
/// new one, whole. The bytes go to a temporary file in the same folder, which is synced, renamed and made
/// durable by a sync of the folder. On failure the old file is unchanged and no temporary file is left. A
/// symbolic link at `path` is replaced, not followed. Temporary files of this path that are more than an hour
/// old, left by killed writers, are removed.
///
/// *Queue*: any thread, several at once; of two writers of one path one wins, whole. *Blocking*: on the disk.
std::expected<void, std::error_code> writeFileAtomically(const std::string& path, ByteView bytes,
                                                         FileAccess access);

}  // namespace quorl
