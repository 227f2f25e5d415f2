// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <quorl-client/Session/Session.h>

namespace quorl::bench {

/// A client that watches one agent with the real client's session, without a terminal.
class StreamClient {
 public:
  StreamClient(std::uint16_t port, const std::string& pin, const std::string& agent);

  void type(std::string_view keys);
  /// The next piece of the agent's output, of any size; empty at the time limit.
  ByteView read(std::chrono::milliseconds limit);
  /// Discards output up to and including the piece with the text; false if it does not come.
  bool readUntil(std::string_view text);

 private:
  void send(const ControlMessage& message);

  client::Waiter waiter_;
  std::unique_ptr<client::Session> session_;
  UUID agent_;
  std::optional<Frame> frame_;
};

}  // namespace quorl::bench
