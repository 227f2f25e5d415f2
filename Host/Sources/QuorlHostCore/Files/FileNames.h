// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <functional>
#include <string>
#include <string_view>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/UUID.h>

/// Names and paths of files, as text. Pure functions, any thread.
namespace quorl {

/// A file name before and after its last dot. A dot at the start or the end does not begin an extension:
/// "a.tar.gz" is "a.tar" and "gz", ".profile" has no extension.
struct NameParts {
  std::string stem;
  std::string extension;  // without the dot; empty: none

  bool operator==(const NameParts&) const = default;
};
NameParts partsOf(std::string_view name);

/// The highest number that is tried for a second file of the same name.
inline constexpr int highestNameNumber = 99'999;

/// Finds the name under which an offered file is stored: every "/" becomes "_", and if the name is taken a
/// number is added before the extension ("report 2.pdf"), up to `highestNameNumber`; then a fresh UUID,
/// unchecked. Fails if `isTaken` does.
std::expected<std::string, PortError> dedupedName(
    std::string_view offered,
    const std::function<std::expected<bool, PortError>(const std::string&)>& isTaken,
    const std::function<UUID()>& freshUUID);

/// The path with "." and ".." removed as text, single slashes and no final slash. A relative path counts from
/// the root folder.
std::string standardisedPath(std::string_view path);

/// A standardised path without its last component; of "/", "/".
std::string parentPath(std::string_view path);

/// The path of an entry of a folder.
std::string joinedPath(std::string_view folder, std::string_view name);

/// Whether a canonical path is this root or lies below it.
bool isWithin(std::string_view canonicalPath, std::string_view root);

}  // namespace quorl
