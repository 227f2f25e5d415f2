// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/FileStore.h>

namespace quorl::test {

/// Files in memory, with a record of every write.
///
/// *Queue*: the simulation's one thread.
class FakeFileStore : public FileStore {
 public:
  std::expected<Bytes, PortError> read(const std::string& path, std::size_t limit) override;
  std::expected<void, PortError> writeAtomically(const std::string& path, ByteView bytes) override;
  std::expected<void, PortError> createPrivateDirectory(const std::string& path) override;

  /// The text of a file; empty if there is none.
  std::string text(const std::string& path) const;

  std::map<std::string, Bytes> files;
  std::vector<std::string> writes;  // paths in order, including failed writes
  std::vector<std::string> directories;
  bool failsWrites = false;
  bool failsDirectories = false;
};

}  // namespace quorl::test
