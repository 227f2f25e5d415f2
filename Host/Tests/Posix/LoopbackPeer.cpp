// SPDX-License-Identifier: GPL-3.0-or-later
#include <Posix/LoopbackPeer.h>

#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <QuorlHostPosix/SocketAddress.h>

namespace quorl::test {

namespace {

bool waitFor(int descriptor, short events) {
  pollfd entry{descriptor, events, 0};
  const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
  return ::poll(&entry, 1, static_cast<int>(limit.count())) == 1;
}

}  // namespace

std::uint16_t freePort() {
  // Below the ephemeral range, so that no outgoing connection of another test takes the port meanwhile.
  static std::uint16_t next = static_cast<std::uint16_t>(20'000 + ::getpid() % 10'000);
  for (;;) {
    next = next >= 31'000 ? std::uint16_t{20'000} : static_cast<std::uint16_t>(next + 1);
    if (listenOnAllAddresses(next)) return next;
  }
}

LoopbackPeer::LoopbackPeer(std::uint16_t port, const std::string& host) {
  const auto address = socketAddressFor({host, port}, NameLookup::numericOnly);
  if (!address) return;
  Descriptor socket(::socket(address->storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(socket.get(), address->get(), address->size) == 0) socket_ = std::move(socket);
}

bool LoopbackPeer::write(ByteView bytes) {
  if (!isConnected()) return false;
  while (!bytes.empty()) {
    if (!waitFor(socket_.get(), POLLOUT)) return false;
    const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN) continue;
    if (count < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

Bytes LoopbackPeer::read(std::size_t count) {
  Bytes result;
  if (!isConnected()) return result;
  std::vector<std::uint8_t> buffer(65'536);
  while (result.size() < count && end_ == End::open) {
    if (!waitFor(socket_.get(), POLLIN)) break;
    const ssize_t got =
        ::recv(socket_.get(), buffer.data(), std::min(buffer.size(), count - result.size()), 0);
    if (got > 0) result.insert(result.end(), buffer.begin(), buffer.begin() + got);
    if (got == 0) end_ = End::finished;
    if (got < 0) end_ = End::reset;
  }
  return result;
}

Bytes LoopbackPeer::readAll() {
  return read(SIZE_MAX);
}

void LoopbackPeer::finishWriting() {
  ::shutdown(socket_.get(), SHUT_WR);
}

void LoopbackPeer::reset() {
  const linger now{1, 0};
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  socket_.reset();
}

ListeningHost::ListeningHost()
    : queue_(scheduler_, "test.listener", QueueRank::adapter),
      network_(std::make_unique<SocketNetwork>()),
      port_(freePort()) {
  Network::ListenerHandlers handlers;
  handlers.connection = [this](std::unique_ptr<NetworkConnection> connection) {
    std::lock_guard lock(mutex_);
    accepted_.push_back(std::move(connection));
    arrived_.notify_all();
  };
  listener_ = std::move(network_->listen(port_, queue_, std::move(handlers)).value());
}

ListeningHost::~ListeningHost() {
  listener_.reset();
  queue_.sync([] {});  // no handler runs after this
  accepted_.clear();
  network_.reset();
}

std::unique_ptr<NetworkConnection> ListeningHost::accept() {
  std::unique_lock lock(mutex_);
  if (!arrived_.wait_for(lock, patience, [this] { return !accepted_.empty(); })) return nullptr;
  auto connection = std::move(accepted_.front());
  accepted_.erase(accepted_.begin());
  return connection;
}

OutgoingFrame frameOf(Bytes payload) {
  return OutgoingFrame::raw(FrameType::terminal, shareBytes(std::move(payload)));
}

Bytes pattern(std::size_t size, std::uint32_t seed) {
  Bytes bytes(size);
  std::uint32_t state = seed * 2'654'435'761U + 1;
  for (auto& byte : bytes) {
    state = state * 1'664'525U + 1'013'904'223U;
    byte = static_cast<std::uint8_t>(state >> 24);
  }
  return bytes;
}

}  // namespace quorl::test
