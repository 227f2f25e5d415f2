// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketPipe.h>

#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace quorl {

namespace {

// Pieces that one direction moves before other pipes have a turn.
constexpr int piecesPerTurn = 4;

bool wouldBlock(int number) {
  return number == EAGAIN || number == EWOULDBLOCK;
}

}  // namespace

SocketPipe::SocketPipe(Descriptor first, Descriptor second, NetworkConnection::Filter filter) {
  end(Side::first).socket = std::move(first);
  end(Side::second).socket = std::move(second);
  end(Side::second).filter = std::move(filter);
}

void SocketPipe::note(Side side, const SocketPoller::Event& event) {
  End& noted = end(side);
  noted.mayRead |= event.isReadable || event.hasEnded;
  noted.mayWrite |= event.isWritable || event.hasEnded;
  noted.isEnding |= event.hasEnded;
}

SocketPipe::State SocketPipe::run(std::span<std::uint8_t> scratch) {
  bool isBusy = false;
  for (const Side from : {Side::first, Side::second}) {
    Step step = Step::moved;
    for (int count = 0; step == Step::moved && count < piecesPerTurn; ++count) step = move(from, scratch);
    if (step == Step::ended) return State::ended;
    isBusy |= step == Step::moved;
  }
  return isBusy ? State::busy : State::waiting;
}

bool SocketPipe::needsRoomEvents(Side side) {
  End& to = end(side);
  return !to.mayWrite && !std::exchange(to.watchesRoom, true);
}

SocketPipe::Step SocketPipe::move(Side side, std::span<std::uint8_t> scratch) {
  End& from = end(side);
  End& to = end(other(side));
  if (!from.pending.empty()) return to.mayWrite ? sendPending(from, to) : Step::blocked;
  return from.mayRead ? read(from, to, scratch) : Step::blocked;
}

SocketPipe::Step SocketPipe::read(End& from, End& to, std::span<std::uint8_t> scratch) {
  const ssize_t count = ::recv(from.socket.get(), scratch.data(), scratch.size(), MSG_DONTWAIT);
  if (count < 0 && errno == EINTR) return Step::moved;
  if (count < 0 && wouldBlock(errno)) {
    from.mayRead = false;
    return Step::blocked;
  }
  if (count <= 0) {
    from.hasFinished = true;
    return Step::ended;
  }
  const auto size = static_cast<std::size_t>(count);
  // After less than a full read the next byte is announced by an event (epoll(7)); an end already was.
  if (size < scratch.size() && !from.isEnding) from.mayRead = false;
  const ByteView bytes(scratch.data(), size);
  if (!from.filter) return pass(from, to, bytes);
  auto passed = from.filter(bytes);
  if (!passed) return Step::moved;
  from.filter = nullptr;
  from.pending = std::move(*passed);
  return from.pending.empty() ? Step::moved : sendPending(from, to);
}

// Without a copy, unless the other socket has no room for all of it.
SocketPipe::Step SocketPipe::pass(End& from, End& to, ByteView bytes) {
  const auto count = to.mayWrite ? send(to, bytes) : 0;
  if (!count) return Step::ended;
  const ByteView rest = bytes.subspan(*count);
  if (rest.empty()) return Step::moved;
  from.pending.assign(rest.begin(), rest.end());
  return Step::blocked;
}

SocketPipe::Step SocketPipe::sendPending(End& from, End& to) {
  const auto count = send(to, ByteView(from.pending).subspan(from.sent));
  if (!count) return Step::ended;
  from.sent += *count;
  if (from.sent < from.pending.size()) return Step::blocked;
  Bytes().swap(from.pending);
  from.sent = 0;
  return Step::moved;
}

// The number of bytes that the socket has taken, or nothing if it has failed.
std::optional<std::size_t> SocketPipe::send(End& to, ByteView bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count =
        ::send(to.socket.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && wouldBlock(errno)) {
      to.mayWrite = false;
      return sent;
    }
    if (count < 0) {
      to.hasFinished = true;
      return std::nullopt;
    }
    sent += static_cast<std::size_t>(count);
  }
  return sent;
}

}  // namespace quorl
