// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <expected>
#include <string>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Small private files on disk. Paths are absolute UTF-8.
///
/// *Queue*: any thread, several at a time. There are no callbacks. Of two writers of one path the last wins.
/// *Blocking*: every call takes as long as the disk does; callers use `Scheduler::blocking`.
/// *Ownership*: bytes are copied.
/// *Lifetime*: no work is pending between calls.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// Reads a regular file of at most `limit` bytes. Anything else (a FIFO, a larger file) is an error, and is
  /// not waited for.
  virtual std::expected<Bytes, PortError> read(const std::string& path, std::size_t limit) = 0;

  /// Replaces the file with `bytes`, mode 0600. A crash at any instant leaves the old or the new file whole:
  /// a temporary file in the same folder is written and synced, then renamed, then the folder is synced. A
  /// failure leaves no temporary file.
  virtual std::expected<void, PortError> writeAtomically(const std::string& path, ByteView bytes) = 0;

  /// Creates the folder and its missing parents with mode 0700. Existing ones keep their mode.
  virtual std::expected<void, PortError> createPrivateDirectory(const std::string& path) = 0;
};

}  // namespace quorl
