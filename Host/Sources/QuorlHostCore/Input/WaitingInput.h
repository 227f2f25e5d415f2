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

/// The client that input comes from: any address that is its own while its input may wait. Null: no client in
/// particular.
using InputSource = const void*;

/// Texts that are being typed, a piece of each client's in turn, and the input that must not overtake the
/// text of its own client. Input of other clients never waits.
///
/// Mere motion overtakes text, so that a client's pointer stays with its hand. Buttons, wheels and keys do
/// not: they could move the focus away from the window that the text is meant for.
///
/// *Queue*: pure; one thread at a time.
class WaitingInput {
 public:
  enum class Kind : std::uint8_t { motion, pointing, key };
  using Post = std::function<void()>;

  /// What may wait of one client: text in UTF-16 code units; texts and events. More text is refused. More
  /// events end the texts they wait for, because an event that is lost could leave a key down.
  static constexpr std::size_t maximumUnits = 1'048'576;
  static constexpr std::size_t maximumItems = 10'000;

  /// True when the event has to wait and was taken; otherwise `post` is left as it was.
  bool holdBack(InputSource source, Kind kind, Post& post);

  /// False when too much text waits already.
  bool addText(InputSource source, TextChunks text);

  /// Forgets everything of a client, the rest of the current piece included.
  void drop(InputSource source);

  /// True between `nextPiece` and `pieceTyped`, unless its client was dropped.
  bool hasPiece() const { return hasPiece_; }
  /// Takes the next piece, of the client whose turn it is; nothing when no text waits.
  std::optional<std::u16string> nextPiece();
  /// What comes after the current piece in the same text; valid until the next change.
  std::u16string_view following() const;
  /// Ends the current piece; the events that waited for it, in order.
  std::vector<Post> pieceTyped();

  bool isEmpty() const { return lines_.empty(); }

 private:
  struct Event {
    Kind kind;
    Post post;
  };
  struct Line {
    std::deque<std::variant<TextChunks, Event>> items;  // a text first
    std::size_t units = 0;                              // of the texts
    std::size_t texts = 0;
    std::size_t pointings = 0;
  };

  static void abandonTexts(Line& line);
  static std::vector<Post> takeEvents(Line& line);

  std::map<InputSource, Line> lines_;
  std::deque<InputSource> turns_;  // the keys of `lines_`, the next one first
  bool hasPiece_ = false;          // of the first of `turns_`
};

}  // namespace quorl
