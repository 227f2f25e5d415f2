// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// A file that is being received. It has no name of its own until `keep` gives it one. Destruction before
/// that removes it, and so does the end of the process, however it ends.
///
/// *Queue*: one at a time.
/// *Blocking*: every call takes as long as the disk does.
/// *Ownership*: the caller's.
class IncomingFile {
 public:
  enum class Kept : std::uint8_t { yes, nameIsTaken };

  virtual ~IncomingFile() = default;

  /// Writes all bytes at the offset. Bytes that are skipped read as zeros.
  virtual std::expected<void, PortError> write(std::uint64_t offset, ByteView bytes) = 0;
  /// At most `bytes.size()` bytes from the offset; 0 at the end of the file.
  virtual std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) = 0;
  /// Makes the file appear in its folder under the name, whole, in one step. Never replaces a file.
  virtual std::expected<Kept, PortError> keep(const std::string& name) = 0;
};

/// A regular file that is open for reading.
///
/// *Queue*: one at a time.
/// *Blocking*: every call takes as long as the disk does.
/// *Ownership*: the caller's.
class OutgoingFile {
 public:
  virtual ~OutgoingFile() = default;

  virtual std::uint64_t size() const = 0;
  /// At most `bytes.size()` bytes from the offset; 0 at the end of the file.
  virtual std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) = 0;
};

/// What a path leads to, held without opening it: holding a FIFO or a device has no effect on it. What is
/// checked here is what is opened, whatever happens to the path meanwhile.
///
/// *Queue*: one at a time.
/// *Blocking*: every call takes as long as the disk does.
/// *Ownership*: the caller's.
class UserPlace {
 public:
  enum class Kind : std::uint8_t { file, directory, other };

  struct Entry {
    std::string name;  // as the file system has it; may not be UTF-8
    bool isDirectory = false;
    bool isLink = false;
    std::uint64_t byteCount = 0;
    Date modified;
  };

  virtual ~UserPlace() = default;

  /// Absolute, without links, "." and "..".
  virtual const std::string& canonicalPath() const = 0;
  virtual Kind kind() const = 0;
  /// Its own entry, with an empty name.
  virtual Entry facts() const = 0;
  /// Whether the user may read it. Does not open it.
  virtual bool isReadable() const = 0;
  /// Fails for anything but a regular file, without waiting for it.
  virtual std::expected<std::unique_ptr<OutgoingFile>, PortError> openForReading() = 0;
  /// The first `limit` entries in the order of the file system, without "." and "..". A link is described as
  /// itself. An entry that cannot be examined is left out.
  virtual std::expected<std::vector<Entry>, PortError> entries(std::size_t limit) = 0;
};

/// The files of the user that runs the host, for transfers and browsing. Paths are absolute; they may hold
/// any byte but NUL.
///
/// *Queue*: any thread, several at a time. There are no callbacks.
/// *Blocking*: every call takes as long as the disk does; callers use `Scheduler::blocking`.
/// *Ownership*: what is returned is the caller's.
/// *Lifetime*: what is returned may outlive this object.
class UserFiles {
 public:
  virtual ~UserFiles() = default;

  virtual std::string homeDirectory() = 0;
  /// Of another user; nothing if there is no such user.
  virtual std::optional<std::string> homeDirectoryOf(const std::string& userName) = 0;
  /// The folders below which removable and mounted volumes appear.
  virtual std::vector<std::string> volumeDirectories() = 0;
  virtual std::string temporaryDirectory() = 0;
  /// As the user has configured it; nothing if it is not configured.
  virtual std::optional<std::string> downloadsDirectory() = 0;

  /// The path without links, "." and "..". Parts that do not exist are kept as they are.
  virtual std::string canonicalPath(const std::string& path) = 0;
  virtual std::expected<std::unique_ptr<UserPlace>, PortError> find(const std::string& path) = 0;

  /// Whether the folder has an entry of this name, also a link that leads nowhere. Fails for a name that the
  /// folder cannot have.
  virtual std::expected<bool, PortError> isTaken(const std::string& folder, const std::string& name) = 0;
  /// Creates an empty file in the folder, and the folder if it is missing.
  virtual std::expected<std::unique_ptr<IncomingFile>, PortError> create(const std::string& folder) = 0;
};

}  // namespace quorl
