// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorl {

// Entries of a folder that is held open by a descriptor, or AT_FDCWD. Any thread.

/// A name that no other entry has: 16 random hexadecimal digits between `prefix` and `suffix`.
std::string uniqueName(std::string_view prefix, std::string_view suffix);

/// Whether there is anything by this name, also a dangling symbolic link.
bool entryExists(int folder, const std::string& name);

/// Moves an entry without replacing another. Returns an errno value: 0, or EEXIST if `to` exists. File
/// systems without such a move get a check before it.
int moveWithoutReplacing(int folder, const std::string& from, const std::string& to);

}  // namespace quorl
