// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Folders before files, each by name in the order of the user's language and without regard to case. Entries
/// with equal names keep their order. `locale`: as for `NameOrder`.
void sortEntries(std::vector<RemoteFileEntry>& entries, const char* locale = nullptr);

}  // namespace quorl
