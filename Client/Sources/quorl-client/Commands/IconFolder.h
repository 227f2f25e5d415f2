// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include <QuorlKit/Models/Models.h>

#include <quorl-client/Base/ClientError.h>

namespace quorl::client {

/// A file name for an icon: the identifier, in which everything but ASCII letters, digits, ".", "_" and "-"
/// becomes "_", cut at 100 characters. It never begins with "." or "-" and never leaves the folder. Pure.
std::string iconFileName(std::string_view bundleID);

/// Whether the bytes begin as a PNG file does (ISO/IEC 15948, 5.2). Pure.
bool isPNG(ByteView bytes);

/// A folder in which icons are saved as PNG files. Identifiers that lead to the same name get a number.
///
/// *Queue*: one thread. *Blocking*: on the disk.
class IconFolder {
 public:
  /// Makes the folder if there is none.
  static Outcome<IconFolder> open(const std::filesystem::path& path);

  /// Saves the icons that were not saved yet. An icon that is not a PNG file is skipped.
  Outcome<void> save(const HostState& state);

  std::size_t savedIcons() const { return names_.size(); }

 private:
  explicit IconFolder(std::filesystem::path path) : path_(std::move(path)) {}
  std::string freeName(std::string_view bundleID) const;

  std::filesystem::path path_;
  std::map<std::string, std::string> names_;  // of the saved icons, by identifier
  std::set<std::string> taken_;               // the same names, in lower case
};

}  // namespace quorl::client
