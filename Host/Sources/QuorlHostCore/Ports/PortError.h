// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// Why a platform operation failed, as the platform describes it (English, one line, no control characters).
struct PortError {
  std::string description;
  int status = 0;  // errno or a library's code if there is one, else 0
};

}  // namespace quorl
