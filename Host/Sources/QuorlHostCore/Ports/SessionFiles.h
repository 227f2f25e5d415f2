// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// Files of other programs, read and never written. Paths are absolute. Nothing here follows a link that
/// leads out of both its folder and the home directory, blocks on what is not a regular file, or holds more
/// than it was asked to read.
///
/// *Queue*: any; calls block for as long as the disk takes.
class SessionFiles {
 public:
  struct Entry {
    std::string name;
    // What a link leads to counts as the entry itself; a link that leads out is neither.
    bool isDirectory = false;
    bool isRegular = false;
    bool isLink = false;
    std::uint64_t size = 0;
    Date modified;
    std::uint64_t fileID = 0;  // changes when the file is replaced by another (inode)
  };

  virtual ~SessionFiles() = default;

  virtual std::string homeDirectory() = 0;
  /// Entries whose name does not begin with a dot, in the order of the file system.
  virtual std::expected<std::vector<Entry>, PortError> list(const std::string& directory) = 0;
  virtual bool exists(const std::string& path) = 0;
  virtual bool isDirectory(const std::string& path) = 0;
  /// At most `length` bytes from `offset`; fewer at the end of the file.
  virtual std::expected<Bytes, PortError> read(const std::string& path, std::uint64_t offset,
                                               std::size_t length) = 0;
  /// The path with symbolic links resolved and standardised; as it came when it does not exist.
  virtual std::string canonicalPath(const std::string& path) = 0;
};

}  // namespace quorl
