// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quorl {

/// A variable of the environment, absent when it is not set.
using Environment = std::function<std::optional<std::string>(const char* name)>;

/// Where the user's own files are. All paths are absolute.
struct UserFolders {
  std::string home;
  std::string data;           // XDG Base Directory Specification: XDG_DATA_HOME
  std::string configuration;  // XDG_CONFIG_HOME

  bool operator==(const UserFolders&) const = default;
};

/// `HOME` decides when it is set and absolute, else the password file's entry, else "/". A relative
/// XDG variable is ignored, as its specification says.
UserFolders userFolders(const Environment& environment, const std::string& passwordFileHome);

/// For this process.
UserFolders currentUserFolders();
Environment processEnvironment();

/// The name of the user this process runs as; the number in decimal where it has no name.
std::string currentUserName();

}  // namespace quorl
