// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <filesystem>

#include <QuorlKit/Foundation/ByteView.h>

#include "ClientError.h"

namespace quorl::client {

// Replaces the file in one step: after a crash at any instant it is the old one or the new one. `mode` is
// subject to the umask, as for any new file.
Outcome<void> writeFileAtomically(const std::filesystem::path& path, ByteView content, mode_t mode);

// Makes the name durable after a rename in `folder`.
void syncFolder(const std::filesystem::path& folder);

}  // namespace quorl::client
