// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <variant>

#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::viewer {

/// The encoded pictures that wait for the decoder, and the rules that drop some of them. Pictures build on
/// each other, so nothing but the part before a key frame can be left out.
///
/// While hidden, nothing waits; configurations are kept, since the host does not repeat them.
///
/// *Queue*: one at a time. *Ownership*: a value. Pure: times are those of the pictures' arrival.
class DecodeQueue {
 public:
  static constexpr std::size_t mostPictures = 30;
  static constexpr std::chrono::milliseconds longestBacklog{250};
  static constexpr std::size_t mostBytes = 64U << 20U;
  static constexpr std::chrono::milliseconds repeatAfter{500};

  using Item = std::variant<client::DecoderConfig, client::EncodedPicture>;
  enum class Request : std::uint8_t { none, keyframe };

  struct Drops {
    std::uint64_t hidden = 0;
    std::uint64_t backlog = 0;
    std::uint64_t withoutKeyframe = 0;  // no key frame since the start, a loss or `show`
  };

  void push(client::DecoderConfig config);
  /// Returns whether the host must be asked for a key frame.
  Request push(client::EncodedPicture picture);
  /// The next configuration or picture to decode.
  std::optional<Item> pop();

  /// A picture could not be decoded: drops what builds on it.
  Request handleFailure(client::Clock::time_point now);
  void hide();
  Request show(client::Clock::time_point now);

  bool isEmpty() const { return items_.empty(); }
  bool isHidden() const { return isHidden_; }
  std::size_t pictures() const { return pictures_; }
  const Drops& drops() const { return drops_; }

 private:
  bool isTooLong() const;
  Request shorten(client::Clock::time_point now);
  Request awaitKeyframe(client::Clock::time_point now);
  /// Drops the pictures before `end`; the last configuration among them stays.
  void dropBefore(std::size_t end, std::uint64_t& count);

  std::deque<Item> items_;
  std::size_t pictures_ = 0;
  std::size_t bytes_ = 0;
  bool isHidden_ = false;
  bool awaitsKeyframe_ = true;
  std::optional<client::Clock::time_point> requestedAt_;
  Drops drops_;
};

}  // namespace quorl::viewer
