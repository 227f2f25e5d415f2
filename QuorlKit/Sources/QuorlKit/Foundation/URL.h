// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <compare>
#include <string>

namespace quorl {

/// The absolute text of a URL, as a type of its own. Not validated.
struct URL {
  std::string absolute;

  auto operator<=>(const URL&) const = default;
};

}  // namespace quorl
