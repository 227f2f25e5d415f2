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

/// Files of other programs, which are only read. Paths are absolute. No call follows a link that leads out of
/// both its folder and the home directory, waits for anything but a regular file, or reads more than asked.
///
/// *Queue*: any thread, several at a time. There are no callbacks.
/// *Blocking*: every call but `homeDirectory` takes as long as the disk does; callers use
/// `Scheduler::blocking`.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class SessionFiles {
 public:
  struct Entry {
    std::string name;
    // Of a link's target; both false if the link leads out.
    bool isDirectory = false;
    bool isRegular = false;
    bool isLink = false;
    std::uint64_t size = 0;
    Date modified;
    std::uint64_t fileID = 0;  // inode: differs after the file is replaced
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
  /// The path standardised and with symbolic links resolved, as far as it exists.
  virtual std::string canonicalPath(const std::string& path) = 0;
};

}  // namespace quorl
