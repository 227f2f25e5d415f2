// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// Why a platform operation failed, in the platform's words (English, one line, no control characters).
struct PortError {
  std::string description;
  int status = 0;  // the platform's number where it has one (errno, a library's code), else 0
};

}  // namespace quorl
