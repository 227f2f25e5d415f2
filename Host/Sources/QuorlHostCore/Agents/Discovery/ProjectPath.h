// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quorl {

/// Checks that decide how a name is read. Both get absolute paths.
struct PathLookup {
  std::function<bool(const std::string&)> exists;
  std::function<bool(const std::string&)> isDirectory;
};

/// The path that a folder name encodes with "-" for each "/". A name may contain "-" itself, so the file
/// system decides: shorter names are tried first, then longer ones, with backtracking. For a path that does
/// not exist every "-" is read as "/".
std::string decodeProjectPath(std::string_view name, const PathLookup& lookup);

}  // namespace quorl
