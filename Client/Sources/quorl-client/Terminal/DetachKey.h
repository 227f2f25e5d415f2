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

/// The keys that detach from a terminal.
struct DetachKey {
  /// All texts that a terminal may send for one key: a control character, or an escape sequence that names
  /// the key if a program has asked for those.
  using Encodings = std::vector<Bytes>;

  std::vector<Encodings> keys;  // pressed one after another; empty: no key detaches
  std::string name;             // for a person: "Ctrl-]"

  /// "ctrl-]", "^]", a sequence such as "ctrl-p ctrl-q" or "ctrl-a d", or "none".
  static Outcome<DetachKey> parse(std::string_view text);
};

/// Finds the detach key in typed input, however reads cut it. Other input passes at once; only the beginning
/// of the key is held back until the next bytes decide. Pressed twice in a short time, the key is sent once
/// and does not detach. Pasted text between the marks of a bracketed paste always passes.
///
/// *Queue*: one at a time. *Ownership*: a value.
class KeyFilter {
 public:
  explicit KeyFilter(DetachKey key) : key_(std::move(key)) {}

  struct Result {
    Bytes passed;
    bool hasDetached = false;  // input after the key is dropped
  };
  /// The time for a second press.
  static constexpr auto again = std::chrono::milliseconds(400);

  Result feed(ByteView typed, Clock::time_point now);
  /// When a pressed key detaches unless it is pressed again; nothing if none was pressed.
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
