// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Decides when the next piece of a file may be sent and how large it may be, so that echoes, keys, terminal
/// output and pictures of the same client wait for little. A state machine: times and facts in, sizes out.
///
/// A piece is at most what the link carries in 20 ms. It is admitted while the link's gate is open. While
/// the client also receives pictures, files get the rate that the pictures do not want, but at least a
/// quarter of the link.
///
/// *Queue*: the owner's; a value.
class FileShare {
 public:
  static constexpr std::size_t largestPiece = 262'144;
  static constexpr std::size_t smallestPiece = 4'096;
  static constexpr Duration pieceTime = std::chrono::milliseconds(20);
  /// Bytes accepted and not yet acknowledged, however fast the link is. It bounds the memory of a transfer
  /// to a client that does not keep up. More than the socket buffers of a fast link, so that it stays busy.
  static constexpr std::uint64_t mostUnderWay = 8'388'608;
  /// Of the link, for files beside pictures.
  static constexpr double leastShare = 0.25;
  /// The size of the first piece, while the rate of the link is unknown.
  static constexpr std::size_t firstPiece = 16'384;

  struct Link {
    double rate = 0;             // delivered, bytes per second; 0 while unknown
    std::uint64_t underWay = 0;  // bytes accepted and not acknowledged
    bool isOpen = true;
    double wantedByPictures = 0;  // bytes per second; 0 without pictures
  };

  /// The size of the piece that may be sent now; 0: none. Changes nothing.
  std::size_t pieceAt(MonotonicTime now, const Link& link) const;
  /// A piece of this size was admitted.
  void admitted(MonotonicTime now, std::size_t bytes, const Link& link);
  /// The time until the share allows the next piece; nothing if the share is not what it waits for.
  std::optional<Duration> wait(MonotonicTime now) const;

  /// Whether a piece was admitted in the last second.
  bool isActive(MonotonicTime now) const;
  /// The rate that remains for pictures beside a file.
  static double rateForPictures(double rate) { return rate * (1 - leastShare); }

 private:
  std::optional<MonotonicTime> admittedAt_;
  std::optional<MonotonicTime> nextAt_;  // beside pictures
};

}  // namespace quorl
