// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A file without a name that holds these bytes and can no longer be changed (memfd_create(2), sealed as in
/// fcntl(2)). It survives execve(2) if its descriptor does. Not open if there is no memory or no descriptor.
Descriptor sealedMemoryFile(ByteView bytes);

/// Its bytes. Nothing for any other file, and for one of more than `most` bytes.
std::optional<Bytes> readSealedMemoryFile(int descriptor, std::size_t most);

}  // namespace quorl
