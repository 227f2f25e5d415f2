// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

// The modes that a terminal is in, put in front of output for one that did not see how it got there. Between
// two marks that no terminal acts upon (CAN outside a sequence; ECMA-48, 8.3.6), so that a client that knows
// them can part the modes from what follows:
//
//   18 1B [ 0 m    modes    18           history follows, which begins in these modes
//   18 1B [ 0 m    modes    18 18        live output follows
struct TerminalPreamble {
  enum class Before : std::uint8_t { history, live };

  Before before = Before::history;
  ByteView modes;
  ByteView rest;

  // Nothing where `output` begins with no preamble.
  static std::optional<TerminalPreamble> of(ByteView output);
  // Empty for no modes.
  static Bytes with(Before before, ByteView modes);
};

}  // namespace quorl
