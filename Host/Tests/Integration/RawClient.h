// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <variant>

#include <Posix/LoopbackPeer.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>

namespace quorl::test {

/// A minimal client of the protocol, built on the kit alone.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port) : peer_(port) {}

  bool isConnected() const { return peer_.isConnected(); }
  LoopbackPeer& peer() { return peer_; }

  void send(const ControlMessage& message);
  void sendHello(std::optional<Bytes> proof = std::nullopt, std::uint32_t version = 4);

  /// The next control message of this kind; earlier ones of other kinds are dropped. Absent when the stream
  /// ends or nothing arrives.
  template <class Message>
  std::optional<Message> next() {
    while (auto message = nextMessage())
      if (auto* found = std::get_if<Message>(&*message)) return std::move(*found);
    return std::nullopt;
  }

  /// The next frame of this type; others before it are dropped. Absent when the stream ends or nothing comes.
  std::optional<Frame> nextFrame(FrameType type);
  /// The next frame of any type.
  std::optional<Frame> nextFrame();

  /// Says hello and pairs. Returns the token.
  std::optional<Bytes> pair(const std::string& pin);
  /// Says hello twice and proves the token.
  bool authenticate(const Bytes& token);
  /// Whether an echo returns unchanged.
  bool echoes();

 private:
  std::optional<ControlMessage> nextMessage();

  LoopbackPeer peer_;
  Deframer deframer_;
  std::deque<Frame> frames_;
};

}  // namespace quorl::test
