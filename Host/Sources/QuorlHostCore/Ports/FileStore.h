// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <expected>
#include <string>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Small private files on disk. Paths are absolute UTF-8. Calls block for as long as the disk takes.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// A regular file of at most `limit` bytes; anything else (a FIFO, a larger file) is an error and never
  /// blocks.
  virtual std::expected<Bytes, PortError> read(const std::string& path, std::size_t limit) = 0;

  /// Replaces the file with `bytes`, mode 0600. A crash at any instant leaves the old or the new file whole:
  /// a temporary file in the same folder, written and synced, renamed, the folder synced. No temporary file
  /// is left behind by a failure.
  virtual std::expected<void, PortError> writeAtomically(const std::string& path, ByteView bytes) = 0;

  /// Makes the folder and its missing parents with mode 0700. One that exists keeps its mode.
  virtual std::expected<void, PortError> createPrivateDirectory(const std::string& path) = 0;
};

}  // namespace quorl
