// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quorl {

/// What decides how a name is read. Both get absolute paths.
struct PathLookup {
  std::function<bool(const std::string&)> exists;
  std::function<bool(const std::string&)> isDirectory;
};

/// The path that a folder name with "-" for each "/" stands for. As a name may hold "-" itself, the file
/// system decides: shorter names first, then longer ones, with backtracking; a path that is not there has
/// every "-" read as "/".
std::string decodeProjectPath(std::string_view name, const PathLookup& lookup);

}  // namespace quorl
