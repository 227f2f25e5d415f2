// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <vector>

#include <QuorlKit/Foundation/UUID.h>

namespace quorl::viewer {

/// The hosts in the order of their last windows, newest first: a file of identities, one a line, 0600.
///
/// *Queue*: any; of two writers one wins, whole. *Errors*: a file that cannot be read or written costs only
/// the order.
class LastUsed {
 public:
  /// `folder`: of the client's configuration; the file is in "viewer" there.
  explicit LastUsed(const std::filesystem::path& folder) : path_(folder / "viewer" / "last-used") {}

  std::vector<UUID> load() const;
  void note(const UUID& host) const;

 private:
  std::filesystem::path path_;
};

}  // namespace quorl::viewer
