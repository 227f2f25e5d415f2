// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Terminal modes sent before output to a terminal that did not see how they were set. They are enclosed in
/// marks that terminals ignore (CAN outside a sequence; ECMA-48, 8.3.6), so that a client that knows the
/// marks can separate the modes from the output:
///
///   18 1B [ 0 m    modes    18           history follows, which begins in these modes
///   18 1B [ 0 m    modes    18 18        live output follows
struct TerminalPreamble {
  enum class Before : std::uint8_t { history, live };

  Before before = Before::history;
  ByteView modes;
  ByteView rest;

  /// Nothing if `output` does not begin with a preamble.
  static std::optional<TerminalPreamble> of(ByteView output);
  /// Empty if there are no modes.
  static Bytes with(Before before, ByteView modes);
};

}  // namespace quorl
