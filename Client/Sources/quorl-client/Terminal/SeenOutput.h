// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::client {

// The end of what a terminal has been shown. After a break the host sends what it keeps of the output, most
// of which has been seen; this tells where the news begin.
// Queue: one at a time. Ownership: a value.
class SeenOutput {
 public:
  // As much as a host keeps of a session's output, and no live piece is larger than the second.
  static constexpr std::size_t replayLimit = 262'144;
  static constexpr std::size_t pieceLimit = 65'536;

  void append(ByteView output);
  bool hasAny() const { return !bytes_.empty(); }
  bool endsInLineFeed() const { return bytes_.empty() || bytes_.back() == '\n'; }

  struct Join {
    enum class Kind : std::uint8_t {
      follows,  // `newFrom` on is what comes next
      gap,      // a replay that begins behind what was seen: the terminal must begin afresh
      live      // no replay: output of now
    };
    Kind kind = Kind::live;
    std::size_t newFrom = 0;
  };
  // For the first output after a break. A host that shows nothing (a full-screen program repaints instead)
  // sends live output first; a replay that has lost its beginning is longer than any live piece.
  Join join(ByteView first) const;

 private:
  ByteView tail() const;

  Bytes bytes_;
};

}  // namespace quorl::client
