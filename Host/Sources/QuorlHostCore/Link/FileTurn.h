// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorl {

/// The answer to a request to send the next piece of a file.
struct FileTurn {
  enum class Kind : std::uint8_t {
    go,     // at most `bytes` may be sent now
    wait,   // the link has no room; the caller is notified
    ended,  // the session has ended
  };

  Kind kind = Kind::wait;
  std::size_t bytes = 0;

  bool operator==(const FileTurn&) const = default;
};

}  // namespace quorl
