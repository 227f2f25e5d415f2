// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// The content of a small file of procfs or sysfs. Absent when it cannot be read or exceeds 1 MiB.
std::optional<std::string> systemFileText(const std::string& path);

/// The first line without white space and zeroes at its ends.
std::string trimmedLine(std::string_view text);

}  // namespace quorl
