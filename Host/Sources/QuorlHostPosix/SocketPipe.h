// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostPosix/SocketPoller.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// Two joined sockets. What one receives the other sends; the next piece is read once the last one is sent. A
/// direction without a piece that is under way holds no memory.
///
/// *Queue*: one thread. *Blocking*: never. *Lifetime*: closes the sockets that `release` has not taken.
class SocketPipe {
 public:
  enum class Side : std::uint8_t { first, second };
  enum class State : std::uint8_t {
    waiting,  // for the next event
    busy,     // more can be moved at once
    ended,    // one socket has ended or failed, and what it sent has been passed on
  };

  /// The most bytes of one read.
  static constexpr std::size_t pieceSize = 262'144;

  /// `filter` examines the input of the second socket. The sockets do not block.
  SocketPipe(Descriptor first, Descriptor second, NetworkConnection::Filter filter);

  int descriptor(Side side) const { return end(side).socket.get(); }
  void note(Side side, const SocketPoller::Event& event);
  /// Moves bytes without waiting, for a limited time. `scratch` has `pieceSize` bytes.
  State run(std::span<std::uint8_t> scratch);
  /// Whether output waits for room on this side that no event announces yet. Asked after `run`.
  bool needsRoomEvents(Side side);

  /// Whether the socket has to be kept for a while so that its last bytes arrive: closing it with unread
  /// input would reset the connection.
  bool mustLinger(Side side) const { return end(side).socket.isOpen() && !end(side).hasFinished; }
  Descriptor release(Side side) { return std::move(end(side).socket); }

 private:
  struct End {
    Descriptor socket;
    bool mayRead = false;  // until a read finds nothing
    bool mayWrite = true;
    bool isEnding = false;  // the end follows the input
    bool hasFinished = false;
    bool watchesRoom = false;
    // What it has received and the other has not sent.
    Bytes pending;
    std::size_t sent = 0;
    NetworkConnection::Filter filter;
  };
  enum class Step : std::uint8_t { moved, blocked, ended };

  static Side other(Side side) { return side == Side::first ? Side::second : Side::first; }
  End& end(Side side) { return ends_[static_cast<std::size_t>(side)]; }
  const End& end(Side side) const { return ends_[static_cast<std::size_t>(side)]; }

  Step move(Side from, std::span<std::uint8_t> scratch);
  Step read(End& from, End& to, std::span<std::uint8_t> scratch);
  Step pass(End& from, End& to, ByteView bytes);
  Step sendPending(End& from, End& to);
  std::optional<std::size_t> send(End& to, ByteView bytes);

  std::array<End, 2> ends_;
};

}  // namespace quorl
