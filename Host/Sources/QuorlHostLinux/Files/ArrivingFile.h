// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A file that has no name until it is kept (O_TMPFILE, open(2)), so that neither a crash nor a power cut
/// leaves a part of it. Where the file system has no such files (FAT, NFS, FUSE), it has a hidden name and a
/// lock (flock(2)); hidden files without a lock, left by a crash, are removed when the next one is created.
class ArrivingFile final : public IncomingFile {
 public:
  static std::expected<std::unique_ptr<IncomingFile>, PortError> in(const std::string& folder,
                                                                    bool needsHiddenName);
  ~ArrivingFile() override;

  std::expected<void, PortError> write(std::uint64_t offset, ByteView bytes) override;
  std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) override;
  std::expected<Kept, PortError> keep(const std::string& name) override;

 private:
  ArrivingFile(Descriptor folder, Descriptor file, std::string hiddenName);
  int link(const std::string& name);

  const Descriptor folder_;
  const Descriptor file_;
  std::string hiddenName_;  // empty: none
};

}  // namespace quorl
