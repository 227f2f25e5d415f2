// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketListener.h>

#include <cerrno>

#include <sys/socket.h>

#include <QuorlHostPosix/SocketAddress.h>
#include <QuorlHostPosix/SocketConnection.h>
#include <QuorlHostPosix/SocketOptions.h>
#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

constexpr int batchSize = 64;
constexpr std::chrono::milliseconds shortagePause{100};

// accept(2): network errors concern one peer only.
bool concernsOnePeer(int number) {
  switch (number) {
    case EINTR:
    case ECONNABORTED:
    case EPROTO:
    case EPERM:
    case ENETDOWN:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case ENONET:
    case EHOSTUNREACH:
    case EOPNOTSUPP:
    case ENETUNREACH:
    case ETIMEDOUT:
      return true;
    default:
      return false;
  }
}

// Descriptors or memory are exhausted. The peer stays in the backlog until some are free.
bool isShortage(int number) {
  return number == EMFILE || number == ENFILE || number == ENOBUFS || number == ENOMEM;
}

}  // namespace

SocketListener::SocketListener(std::shared_ptr<IoLoop> loop, SerialQueue queue,
                               Network::ListenerHandlers handlers)
    : loop_(std::move(loop)),
      queue_(std::move(queue)),
      socket_(loop_->context()),
      pause_(loop_->context()),
      handlers_(std::make_shared<const Network::ListenerHandlers>(std::move(handlers))) {}

void SocketListener::begin(Descriptor descriptor, std::uint16_t port) {
  std::lock_guard lock(mutex_);
  boost::system::error_code error;
  socket_.assign(descriptor.get(), error);
  if (error) {
    report(NetworkListener::Failed{PortError{error.message(), error.value()}});
    return;
  }
  configureSessionSocket(descriptor.get());  // accepted sockets inherit the options
  descriptor.release();
  report(NetworkListener::Ready{port});  // posted before any peer can be
  waitForPeers();
}

void SocketListener::report(const NetworkListener::State& state) {
  queue_.async([self = shared_from_this(), state] {
    const auto handlers = self->handlers();
    if (handlers && handlers->state) handlers->state(state);
  });
}

void SocketListener::reportFailure(const PortError& error) {
  report(NetworkListener::Failed{error});
}

std::shared_ptr<const Network::ListenerHandlers> SocketListener::handlers() {
  std::lock_guard lock(mutex_);
  return handlers_;
}

void SocketListener::waitForPeers() {
  socket_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                     [weak = weak_from_this()](const boost::system::error_code& error) {
                       const auto self = weak.lock();
                       if (self && !error) self->accept();
                     });
}

void SocketListener::pauseAccepting() {
  pause_.expires_after(shortagePause);
  pause_.async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
    const auto self = weak.lock();
    if (!self || error) return;
    std::lock_guard lock(self->mutex_);
    if (self->socket_.is_open()) self->waitForPeers();
  });
}

SocketListener::Next SocketListener::acceptBatch(Batch& batch) {
  for (int tries = 0; tries < batchSize; ++tries) {
    SocketAddress peer;
    peer.size = sizeof peer.storage;
    Descriptor socket(::accept4(socket_.native_handle(), reinterpret_cast<sockaddr*>(&peer.storage),
                                &peer.size, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket.isOpen()) {
      batch.push_back(std::make_unique<SocketConnectionHandle>(
          std::make_shared<SocketConnection>(loop_, std::move(socket), hostPortOf(peer))));
      continue;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) return Next::wait;
    if (isShortage(errno)) return Next::pause;
    if (!concernsOnePeer(errno)) return Next::end;
  }
  return Next::wait;
}

void SocketListener::accept() {
  Batch batch;
  Next next = Next::end;
  PortError error;
  {
    std::lock_guard lock(mutex_);
    if (!socket_.is_open()) return;
    next = acceptBatch(batch);
    if (next == Next::end) {
      error = systemError(errno);
      boost::system::error_code ignored;
      socket_.close(ignored);
    }
  }
  queue_.async([self = shared_from_this(), batch = std::move(batch), next]() mutable {
    for (auto& connection : batch) {
      const auto handlers = self->handlers();
      if (handlers && handlers->connection) handlers->connection(std::move(connection));
    }
    std::lock_guard lock(self->mutex_);
    if (!self->socket_.is_open()) return;
    if (next == Next::wait) self->waitForPeers();
    if (next == Next::pause) self->pauseAccepting();
  });
  if (next == Next::end) reportFailure(error);
}

void SocketListener::cancel() {
  std::shared_ptr<const Network::ListenerHandlers> dropped;
  std::lock_guard lock(mutex_);
  dropped.swap(handlers_);
  boost::system::error_code ignored;
  socket_.close(ignored);
  pause_.cancel();
}

}  // namespace quorl
