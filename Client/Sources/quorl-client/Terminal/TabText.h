// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::client {

// The text of a terminal tab that a host reads again and again. It sends the lines that came since the last
// look, and the whole text where it finds no lines that both share: a program has painted something anew.
// A repeat is recognised by how much of the last lines it holds. Queue: one at a time. Ownership: a
// value.
class TabText {
 public:
  static constexpr std::size_t usualRows = 24;

  void begin(ByteView whole);
  // Takes a further piece; whether it is the whole text once more.
  bool takeIsRepeat(ByteView piece);

  // The end of a text, `count` lines at most, without the last line's end.
  static Bytes lastLines(ByteView text, std::size_t count);

 private:
  // What a screen shows, about.
  static constexpr std::size_t compared = 60;

  void keepLast();

  std::vector<std::string> lines_;
};

}  // namespace quorl::client
