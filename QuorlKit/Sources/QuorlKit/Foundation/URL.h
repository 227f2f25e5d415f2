// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <string>

namespace quorl {

// The absolute text of a URL, kept apart from ordinary text by its type; nothing is validated.
struct URL {
  std::string absolute;

  auto operator<=>(const URL&) const = default;
};

}  // namespace quorl
