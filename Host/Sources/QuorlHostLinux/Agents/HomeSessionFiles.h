// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl {

/// Session files from the file system. A file is checked before it is opened, and the checked file is the one
/// opened, so that no FIFO or device is ever opened and no link can be swapped in.
///
/// *Queue*: any, also several at once.
class HomeSessionFiles final : public SessionFiles {
 public:
  explicit HomeSessionFiles(std::string home);

  std::string homeDirectory() override { return home_; }
  std::expected<std::vector<Entry>, PortError> list(const std::string& directory) override;
  bool exists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::expected<Bytes, PortError> read(const std::string& path, std::uint64_t offset,
                                       std::size_t length) override;
  std::string canonicalPath(const std::string& path) override;

 private:
  bool mayRead(const std::string& canonical, const std::string& directory);

  const std::string home_;
};

}  // namespace quorl
