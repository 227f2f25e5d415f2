// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <variant>
#include <vector>

#include <QuorlHostCore/Ports/Network.h>

namespace quorl {

/// What a socket has been given to send and has not taken yet, in order.
///
/// *Queue*: one thread at a time. *Blocking*: never.
class PendingSends {
 public:
  using Completions = std::vector<NetworkConnection::Sent>;

  struct Item {
    std::variant<OutgoingFrame, SharedBytes> content;
    NetworkConnection::Sent completion;

    ByteView prefix() const;
    ByteView body() const;
    std::size_t size() const { return prefix().size() + body().size(); }
  };

  bool isEmpty() const { return items_.empty(); }
  void add(Item item) { items_.push_back(std::move(item)); }
  /// Writes what the socket takes without waiting, many items in one system call. Adds the completions of
  /// those that it has taken to `written`.
  std::optional<PortError> write(int descriptor, Completions& written);
  /// Empties the list and returns the completions.
  Completions drop();
  /// How many bytes sockets have taken.
  std::uint64_t written() const { return written_; }

 private:
  void advance(std::size_t count, Completions& written);

  std::deque<Item> items_;
  std::size_t firstOffset_ = 0;  // bytes of the first item already written
  std::uint64_t written_ = 0;
};

}  // namespace quorl
