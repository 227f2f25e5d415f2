// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::client {

/// The end of the output that a terminal has shown. After a break the host replays what it keeps, most of
/// which was shown before; this finds where new output starts.
///
/// *Queue*: one at a time. *Ownership*: a value.
class SeenOutput {
 public:
  /// The bytes that a host keeps of a session's output, and the size limit of a live piece.
  static constexpr std::size_t replayLimit = 262'144;
  static constexpr std::size_t pieceLimit = 65'536;

  void append(ByteView output);
  bool hasAny() const { return !bytes_.empty(); }
  bool endsInLineFeed() const { return bytes_.empty() || bytes_.back() == '\n'; }

  struct Join {
    enum class Kind : std::uint8_t {
      follows,  // new output starts at `newFrom`
      gap,      // a replay that starts after the shown output: the terminal must be cleared
      live      // not a replay
    };
    Kind kind = Kind::live;
    std::size_t newFrom = 0;
  };
  /// For the first output after a break. It is live if the host replays nothing, because a full-screen
  /// program repaints instead. A replay that has lost its beginning is longer than any live piece.
  Join join(ByteView first) const;

 private:
  ByteView tail() const;

  Bytes bytes_;
};

}  // namespace quorl::client
