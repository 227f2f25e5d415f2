// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace quorl {

/// A variable of the environment, absent when it is not set.
using Environment = std::function<std::optional<std::string>(const char* name)>;

/// The folders of the user's files. All paths are absolute.
struct UserFolders {
  std::string home;
  std::string data;           // XDG Base Directory Specification: XDG_DATA_HOME
  std::string configuration;  // XDG_CONFIG_HOME

  bool operator==(const UserFolders&) const = default;
};

/// The home folder is `HOME` if it is set and absolute, else the password file's entry, else "/". A relative
/// XDG variable is ignored, as its specification says.
UserFolders userFolders(const Environment& environment, const std::string& passwordFileHome);

/// For this process.
UserFolders currentUserFolders();
Environment processEnvironment();

/// The name of the user of this process, or the number in decimal if there is no name.
std::string currentUserName();

}  // namespace quorl
