// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <variant>

#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl::viewer {

/// What waits for the socket, in order. A motion of the pointer replaces the motion before it, so that a slow
/// link gets the newest position and not the way there. Buttons, keys, scrolling and messages are never
/// merged, dropped or passed by another.
///
/// *Queue*: one at a time. *Ownership*: a value.
class Outbox {
 public:
  /// More than a person or a clipboard text can queue on a link that still answers heartbeats.
  static constexpr std::size_t maxBytes = 16U << 20;

  /// False if the outbox is full: the host no longer reads.
  bool push(const InputEvent& event);
  bool push(OutgoingFrame frame);
  std::optional<OutgoingFrame> pop();

  bool isEmpty() const { return items_.empty(); }
  std::size_t size() const { return items_.size(); }
  void clear();

 private:
  using Item = std::variant<InputEvent, OutgoingFrame>;
  static std::size_t sizeOf(const Item& item);

  std::deque<Item> items_;
  std::size_t bytes_ = 0;
};

}  // namespace quorl::viewer
