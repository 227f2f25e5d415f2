// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// Why a message or a record could not be encoded or decoded. The text is for logs and tests.
struct CodingError {
  std::string text;

  bool operator==(const CodingError&) const = default;
};

}  // namespace quorl
