// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Ports/FileStore.h>

namespace quorl {

/// Private files by the calls of POSIX.1-2017.
///
/// *Queue*: any thread, also several at once; it has no state. Of two writers of one path, one content
/// remains, complete.
class PosixFileStore final : public FileStore {
 public:
  std::expected<Bytes, PortError> read(const std::string& path, std::size_t limit) override;
  std::expected<void, PortError> writeAtomically(const std::string& path, ByteView bytes) override;
  std::expected<void, PortError> createPrivateDirectory(const std::string& path) override;
};

}  // namespace quorl
