// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Terminal/TerminalModes.h>

// What can be said about raw terminal output (ECMA-48) without emulating a terminal. Pure.
namespace quorl {

/// The text without CSI sequences, OSC sequences and control characters other than tab and line feed, in one
/// pass: what the expression `terminalNoisePattern` matches is left out.
std::string cleanedTerminalText(std::string_view text);

inline constexpr std::string_view terminalNoisePattern =
    R"(\x1b\[[0-9;?]*[ -/]*[@-~]|\x1b\][^\x07\x1b]*(\x07|\x1b\\)|[\x00-\x08\x0b-\x1f])";

/// The last line that is not empty once blanks and tabs are trimmed off; a piece of `text`.
std::optional<std::string_view> lastNonEmptyLine(std::string_view text);

/// One line of recent text of raw output: of the cleaned last 4096 bytes the last line that is not empty.
/// Bytes that are not UTF-8 as a whole are read as ISO 8859-1.
std::optional<std::string> terminalPreviewLine(ByteView output);

/// Follows whether a program shows the alternate screen (xterm's private modes 47 and 1049), also when the
/// sequences come in pieces.
///
/// *Queue*: its owner's. *Ownership*: a value.
class AlternateScreenScanner {
 public:
  void update(ByteView output);
  bool isInAlternateScreen() const { return isInAlternateScreen_; }

 private:
  static constexpr std::size_t carryLength = 8;  // the longest sequence

  bool isInAlternateScreen_ = false;
  Bytes carry_;
};

/// The last part of what a terminal has printed. Above the limit the front is cut at a line feed or an ESC,
/// so that what is left begins on a line or on a sequence; where none stands within 4096 bytes, there.
///
/// Appending costs amortised constant time a byte, whatever the pieces; memory stays under twice the limit
/// and follows what was printed.
///
/// *Queue*: its owner's. *Ownership*: a value.
class Scrollback {
 public:
  static constexpr std::size_t limit = 262'144;
  static constexpr std::size_t boundarySearch = 4096;

  void append(ByteView output);
  /// Valid until the next change.
  ByteView contents() const { return ByteView(storage_).subspan(begin_); }
  ByteView tail(std::size_t length) const;
  bool isEmpty() const { return storage_.size() == begin_; }
  /// The modes in which the kept part begins: what the part that was cut has changed.
  const TerminalModes& modesAtBegin() const { return modesAtBegin_; }

 private:
  void trim();

  Bytes storage_;
  std::size_t begin_ = 0;  // what is before it was cut and is overwritten later
  TerminalModes modesAtBegin_;
};

}  // namespace quorl
