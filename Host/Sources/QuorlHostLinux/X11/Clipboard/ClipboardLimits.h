// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>

namespace quorl {

/// What other programs may cost while they send and fetch content.
struct ClipboardLimits {
  // Reading: how long an owner may take for a step (an answer, a part of the content) and for all steps.
  std::chrono::milliseconds readStep{2'000};
  std::chrono::milliseconds readTotal{10'000};
  /// More than this of content that is too large is not fetched to its end.
  std::size_t mostDiscarded = 64 * std::size_t{1'048'576};
  /// Transfers of one owner that we have given up.
  std::size_t mostAbandoned = 4;

  // Giving out: how long a requestor may take for a part and for all parts, and how many there may be.
  std::chrono::milliseconds sendStep{10'000};
  std::chrono::milliseconds sendTotal{60'000};
  std::size_t mostTransfers = 64;

  /// Between attempts to connect to a display that is absent.
  std::chrono::milliseconds reconnect{2'000};
};

}  // namespace quorl
