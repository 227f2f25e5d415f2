// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Terminal/TerminalModes.h>

// Properties of raw terminal output (ECMA-48) that need no terminal emulation. Pure.
namespace quorl {

/// The text without CSI sequences, OSC sequences and control characters other than tab and line feed, in one
/// pass: everything that the expression `terminalNoisePattern` matches is removed.
std::string cleanedTerminalText(std::string_view text);

inline constexpr std::string_view terminalNoisePattern =
    R"(\x1b\[[0-9;?]*[ -/]*[@-~]|\x1b\][^\x07\x1b]*(\x07|\x1b\\)|[\x00-\x08\x0b-\x1f])";

/// The last line that is not empty after blanks and tabs are trimmed; a part of `text`.
std::optional<std::string_view> lastNonEmptyLine(std::string_view text);

/// One line of recent raw output: the last non-empty line of the last 4096 bytes, cleaned. Bytes that are not
/// all UTF-8 are read as ISO 8859-1.
std::optional<std::string> terminalPreviewLine(ByteView output);

/// Tracks whether a program shows the alternate screen (xterm's private modes 47 and 1049), also if the
/// sequences arrive in pieces.
///
/// *Queue*: the owner's; a value.
class AlternateScreenScanner {
 public:
  AlternateScreenScanner() = default;
  /// Continues after `output`, the end of what another one has seen.
  AlternateScreenScanner(bool isInAlternateScreen, ByteView output);

  void update(ByteView output);
  bool isInAlternateScreen() const { return isInAlternateScreen_; }

 private:
  static constexpr std::size_t carryLength = 8;  // the longest sequence

  bool isInAlternateScreen_ = false;
  Bytes carry_;
};

/// The last part of a terminal's output. Above the limit the front is cut at a line feed or an ESC, so that
/// the rest begins with a line or a sequence; if there is none within 4096 bytes, it is cut there.
///
/// Appending costs amortised constant time per byte for any pieces. Memory is less than twice the limit and
/// follows the output.
///
/// *Queue*: the owner's; a value.
class Scrollback {
 public:
  static constexpr std::size_t limit = 262'144;
  static constexpr std::size_t boundarySearch = 4096;

  Scrollback() = default;
  /// Continues another one's contents, which are at most `limit` bytes.
  Scrollback(Bytes contents, TerminalModes modesAtBegin);

  void append(ByteView output);
  /// Valid until the next change.
  ByteView contents() const { return ByteView(storage_).subspan(begin_); }
  ByteView tail(std::size_t length) const;
  bool isEmpty() const { return storage_.size() == begin_; }
  /// The terminal modes at the start of the kept part, set by the part that was cut.
  const TerminalModes& modesAtBegin() const { return modesAtBegin_; }

 private:
  void trim();

  Bytes storage_;
  std::size_t begin_ = 0;  // bytes before it were cut and are overwritten later
  TerminalModes modesAtBegin_;
};

}  // namespace quorl
