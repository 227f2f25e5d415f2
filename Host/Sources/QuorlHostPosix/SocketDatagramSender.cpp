// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketDatagramSender.h>

#include <cerrno>

#include <sys/socket.h>

namespace quorl {

namespace {

constexpr std::size_t maxWaitingBytes = 4'194'304;
constexpr int kernelBufferBytes = 1'048'576;

}  // namespace

SocketDatagramSender::SocketDatagramSender(std::shared_ptr<IoLoop> loop)
    : loop_(std::move(loop)), socket_(loop_->context()) {}

void SocketDatagramSender::open(const SocketAddress& peer, const std::optional<SocketAddress>& local) {
  Descriptor socket(::socket(peer.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket.isOpen()) return;
  // An address of the other family cannot be used for this peer.
  if (local && local->storage.ss_family == peer.storage.ss_family &&
      ::bind(socket.get(), local->get(), local->size) != 0)
    return;
  // Connected, so that only the peer's ICMP errors come back, and only to this socket.
  if (::connect(socket.get(), peer.get(), peer.size) != 0) return;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &kernelBufferBytes, sizeof kernelBufferBytes);
  std::lock_guard lock(mutex_);
  boost::system::error_code error;
  socket_.assign(socket.get(), error);
  if (!error) socket.release();
}

void SocketDatagramSender::send(Bytes datagram) {
  std::lock_guard lock(mutex_);
  if (!socket_.is_open()) return;
  if (waiting_.empty() && transmit(datagram) == Outcome::gone) return;
  if (waitingBytes_ + datagram.size() > maxWaitingBytes) return;
  waitingBytes_ += datagram.size();
  waiting_.push_back(std::move(datagram));
  if (waiting_.size() == 1) waitForRoom();
}

SocketDatagramSender::Outcome SocketDatagramSender::transmit(const Bytes& datagram) {
  const ssize_t sent =
      ::send(socket_.native_handle(), datagram.data(), datagram.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  const bool full = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
  return full ? Outcome::noRoom : Outcome::gone;
}

void SocketDatagramSender::waitForRoom() {
  socket_.async_wait(boost::asio::posix::stream_descriptor::wait_write,
                     [weak = weak_from_this()](const boost::system::error_code& error) {
                       const auto self = weak.lock();
                       if (self && !error) self->sendWaiting();
                     });
}

void SocketDatagramSender::sendWaiting() {
  std::lock_guard lock(mutex_);
  if (!socket_.is_open()) return;
  while (!waiting_.empty()) {
    if (transmit(waiting_.front()) == Outcome::noRoom) return waitForRoom();
    waitingBytes_ -= waiting_.front().size();
    waiting_.pop_front();
  }
}

void SocketDatagramSender::close() {
  std::lock_guard lock(mutex_);
  boost::system::error_code ignored;
  socket_.close(ignored);
  waiting_.clear();
  waitingBytes_ = 0;
}

}  // namespace quorl
