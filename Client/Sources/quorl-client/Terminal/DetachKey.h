// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

// The keys that leave an attached terminal.
struct DetachKey {
  // All texts that a terminal may send for one key: a control character, or where a program has asked for it
  // an escape sequence that names the key.
  using Encodings = std::vector<Bytes>;

  std::vector<Encodings> keys;  // pressed one after the other; none: no key leaves
  std::string name;             // for a person: "Ctrl-]"

  // "ctrl-]", "^]", a sequence such as "ctrl-p ctrl-q" or "ctrl-a d", or "none".
  static Outcome<DetachKey> parse(std::string_view text);
};

// Finds the detach key in what is typed, however the reads cut it. What cannot be the key passes at once;
// only the beginning of the key is held back until the next bytes tell. Pressed twice in a short while the
// key is sent once and leaves nothing. Pasted text is no key: between the marks of a bracketed paste
// everything passes. Queue: one at a time. Ownership: a value.
class KeyFilter {
 public:
  explicit KeyFilter(DetachKey key) : key_(std::move(key)) {}

  struct Result {
    Bytes passed;
    bool hasDetached = false;  // what was typed behind the key is dropped
  };
  // How long the key may be waited for a second time.
  static constexpr auto again = std::chrono::milliseconds(400);

  Result feed(ByteView typed, Clock::time_point now);
  // When a key that was pressed leaves, unless it is pressed again; nothing when none was.
  std::optional<Clock::time_point> due() const { return leavesAt_; }
  bool hasDetached(Clock::time_point now) const { return leavesAt_ && now >= *leavesAt_; }

 private:
  enum class Match : std::uint8_t { none, partial, full };
  // `length`: of a full match.
  Match matchAt(ByteView data, std::size_t& length) const;
  void followPaste(std::uint8_t byte);

  DetachKey key_;
  Bytes held_;
  std::optional<Clock::time_point> leavesAt_;
  bool isInPaste_ = false;
  std::size_t markProgress_ = 0;
};

}  // namespace quorl::client
