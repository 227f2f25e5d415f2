// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <QuorlHostCore/Input/TextChunks.h>

namespace quorl {

/// Identifies the client that input comes from: any address that is unique while its input may wait. Null
/// means no particular client.
using InputSource = const void*;

/// Texts that are being typed, one piece of each client in turn, and input that must not overtake the text of
/// its own client. Input of other clients never waits.
///
/// Pointer motion overtakes text, so that the pointer follows the client's hand. Buttons, wheels and keys do
/// not: they could move the focus away from the window that the text is for.
///
/// *Queue*: one thread at a time.
class WaitingInput {
 public:
  enum class Kind : std::uint8_t { motion, pointing, buttonUp, key, keyUp };
  using Post = std::function<void()>;

  static bool isRelease(Kind kind) { return kind == Kind::buttonUp || kind == Kind::keyUp; }

  /// Limits for one client: UTF-16 code units of text, and the number of texts and events. Further text is
  /// refused. A further event ends the texts that it waits for, because losing it could leave a key down.
  static constexpr std::size_t maximumUnits = 1'048'576;
  static constexpr std::size_t maximumItems = 10'000;

  /// Takes the event and returns true if it has to wait. Otherwise `post` is unchanged.
  bool holdBack(InputSource source, Kind kind, Post& post);

  /// False if too much text waits already.
  bool addText(InputSource source, TextChunks text);

  /// UTF-16 code units of a client's text that wait.
  std::size_t waitingUnits(InputSource source) const;

  /// Drops everything of a client, including the rest of the current piece, and returns the releases that
  /// waited, in order: without them a key or a button would stay down.
  std::vector<Post> drop(InputSource source);

  /// True between `nextPiece` and `pieceTyped`, unless its client was dropped.
  bool hasPiece() const { return hasPiece_; }
  /// Takes the next piece, of the client whose turn it is. Nothing if no text waits.
  std::optional<std::u16string> nextPiece();
  /// The text after the current piece. Valid until the next change.
  std::u16string_view following() const;
  /// Ends the current piece and returns the events that waited for it, in order.
  std::vector<Post> pieceTyped();

  bool isEmpty() const { return lines_.empty(); }

 private:
  struct Event {
    Kind kind;
    Post post;
  };
  struct Line {
    std::deque<std::variant<TextChunks, Event>> items;  // the first is a text
    std::size_t units = 0;                              // of the texts
    std::size_t texts = 0;
    std::size_t pointings = 0;
  };

  static bool isPointing(Kind kind) { return kind == Kind::pointing || kind == Kind::buttonUp; }
  static void abandonTexts(Line& line);
  static std::vector<Post> takeEvents(Line& line);

  std::map<InputSource, Line> lines_;
  std::deque<InputSource> turns_;  // the keys of `lines_`, the next one first
  bool hasPiece_ = false;          // of the first of `turns_`
};

}  // namespace quorl
