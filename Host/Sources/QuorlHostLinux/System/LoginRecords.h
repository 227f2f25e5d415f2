// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <set>
#include <string>

namespace quorl {

/// The users with a login session by the records of utmpx (getutxent(3)), for systems without a login
/// manager. One thread at a time: the records have one position for the whole process.
std::set<std::string> usersInLoginRecords();

}  // namespace quorl
