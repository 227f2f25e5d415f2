// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/stat.h>

#include <string>

#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A place held by an O_PATH descriptor (open(2)): nothing is opened, so a FIFO has no reader and a device is
/// not touched. It is opened later through /proc/self/fd, which leads to the held file and to no other.
class HeldPlace final : public UserPlace {
 public:
  static std::expected<std::unique_ptr<UserPlace>, PortError> at(const std::string& path);

  const std::string& canonicalPath() const override { return canonicalPath_; }
  Kind kind() const override;
  Entry facts() const override;
  bool isReadable() const override;
  std::expected<std::unique_ptr<OutgoingFile>, PortError> openForReading() override;
  std::expected<std::vector<Entry>, PortError> entries(std::size_t limit) override;

 private:
  HeldPlace(Descriptor place, const struct stat& facts, std::string canonicalPath);

  const Descriptor place_;
  const struct stat facts_;
  const std::string canonicalPath_;
};

/// The path without links, "." and "..". Parts that do not exist are kept as they are, also those that a
/// dangling link names.
std::string resolvedPath(const std::string& path);

}  // namespace quorl
