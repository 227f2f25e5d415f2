// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "../Support/Program.h"
#include "LimitedLink.h"

namespace quorl::bench {

/// A file on its way between client and host, by quorl_client, over a session of its own. The file is too
/// large to arrive during a measurement; destruction ends the transfer.
class FileMove {
 public:
  enum class Direction : std::uint8_t { upload, download };

  /// Pairs and starts. `folder`: the home folder of the host and of this client. Throws if quorl_client
  /// cannot pair.
  FileMove(LimitedLink& link, Direction direction, const std::string& client, const std::string& folder,
           std::uint16_t port, const std::string& pin);
  FileMove(const FileMove&) = delete;
  FileMove& operator=(const FileMove&) = delete;
  ~FileMove();

  /// Bytes of the partial file of a download; of an upload, what the link has carried to the host.
  std::uint64_t movedBytes() const;

 private:
  LimitedLink& link_;
  const Direction direction_;
  const std::filesystem::path target_;
  std::unique_ptr<Program> program_;
};

}  // namespace quorl::bench
