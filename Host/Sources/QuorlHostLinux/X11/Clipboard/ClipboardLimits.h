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
  /// Bytes that are fetched without use, of content that is too large or late. A part counts as 64 KiB at
  /// least.
  std::size_t mostDiscarded = std::size_t{1} << 30;
  /// Transfers of one owner that are given up.
  std::size_t mostAbandoned = 4;

  // Giving out: how long a requestor may take for a part and for all parts, and how many there may be.
  std::chrono::milliseconds sendStep{10'000};
  std::chrono::milliseconds sendTotal{60'000};
  std::size_t mostTransfers = 64;

  /// Between attempts to connect to a display that is absent.
  std::chrono::milliseconds reconnect{2'000};
};

}  // namespace quorl
