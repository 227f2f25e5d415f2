// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::client {

/// The text of a terminal tab, which a host polls. The host sends the lines added since the last poll, or the
/// whole text if old and new share no lines, because a program has repainted. A repeat of the whole text is
/// recognised by how many of the last lines it contains.
///
/// *Queue*: one at a time. *Ownership*: a value.
class TabText {
 public:
  static constexpr std::size_t usualRows = 24;

  void begin(ByteView whole);
  /// Takes the next piece. Returns whether it is the whole text again.
  bool takeIsRepeat(ByteView piece);

  /// The last `count` lines at most, without the final line feed.
  static Bytes lastLines(ByteView text, std::size_t count);

 private:
  // About the rows of a screen.
  static constexpr std::size_t compared = 60;

  void keepLast();

  std::vector<std::string> lines_;
};

}  // namespace quorl::client
