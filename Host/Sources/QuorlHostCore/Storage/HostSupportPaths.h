// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

/// Paths of the host's own files.
namespace quorl::HostSupportPaths {

/// `given` if present, else the host's folder in the platform's folder for application data.
std::string directory(const std::optional<std::string>& given, const std::string& applicationSupport);

/// The path of a file in a folder.
std::string file(const std::string& directory, const std::string& name);

}  // namespace quorl::HostSupportPaths
