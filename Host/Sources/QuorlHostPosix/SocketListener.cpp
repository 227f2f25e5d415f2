// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketListener.h>

#include <cerrno>
#include <utility>

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
  configureSessionSocket(descriptor.get());  // accepted sockets inherit the options
  boost::system::error_code error;
  if (loop_->scheduler()) {
    acceptOnlyWithInput(descriptor.get());
    descriptor_ = std::move(descriptor);
  } else {
    socket_.assign(descriptor.get(), error);
    if (!error) descriptor.release();
  }
  if (error) {
    report(NetworkListener::Failed{PortError{error.message(), error.value()}});
    return;
  }
  report(NetworkListener::Ready{port});  // posted before any peer can be
  waitForPeers();
}

int SocketListener::descriptor() {
  return descriptor_.isOpen() ? descriptor_.get() : socket_.native_handle();
}

void SocketListener::close() {
  loop_->pipes().unwatch(std::exchange(watch_, 0));
  descriptor_.reset();
  boost::system::error_code ignored;
  socket_.close(ignored);
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
  const auto watched = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->accept();
  };
  if (descriptor_.isOpen() && watch_ == 0) {
    watch_ = loop_->pipes().watch(descriptor_.get(), watched);
    if (watch_ == 0) report(NetworkListener::Failed{systemError(ENOSPC)});
  }
  if (descriptor_.isOpen()) return;
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
    if (self->isOpen()) self->proceed(Next::more);
  });
}

SocketListener::Next SocketListener::acceptBatch(Batch& batch) {
  for (int tries = 0; tries < batchSize; ++tries) {
    SocketAddress peer;
    peer.size = sizeof peer.storage;
    Descriptor socket(::accept4(descriptor(), reinterpret_cast<sockaddr*>(&peer.storage), &peer.size,
                                SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket.isOpen()) {
      batch.push_back(std::make_unique<SocketConnectionHandle>(
          std::make_shared<SocketConnection>(loop_, std::move(socket), hostPortOf(peer))));
      continue;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) return Next::wait;
    if (isShortage(errno)) return Next::pause;
    if (!concernsOnePeer(errno)) return Next::end;
  }
  return Next::more;
}

void SocketListener::proceed(Next next) {
  switch (next) {
    case Next::wait:
      waitForPeers();
      break;
    case Next::more:
      // Where only changes are announced, the rest of the backlog is not.
      if (descriptor_.isOpen())
        loop_->scheduler()->execute([weak = weak_from_this()] {
          if (const auto self = weak.lock()) self->accept();
        });
      else
        waitForPeers();
      break;
    case Next::pause:
      pauseAccepting();
      break;
    case Next::end:
      break;
  }
}

void SocketListener::accept() {
  Batch batch;
  Next next = Next::end;
  PortError error;
  {
    std::lock_guard lock(mutex_);
    if (!isOpen()) return;
    next = acceptBatch(batch);
    if (next == Next::end) {
      error = systemError(errno);
      close();
    }
  }
  queue_.async([self = shared_from_this(), batch = std::move(batch), next]() mutable {
    for (auto& connection : batch) {
      const auto handlers = self->handlers();
      if (handlers && handlers->connection) handlers->connection(std::move(connection));
    }
    std::lock_guard lock(self->mutex_);
    if (self->isOpen()) self->proceed(next);
  });
  if (next == Next::end) reportFailure(error);
}

void SocketListener::cancel() {
  std::shared_ptr<const Network::ListenerHandlers> dropped;
  std::lock_guard lock(mutex_);
  dropped.swap(handlers_);
  close();
  pause_.cancel();
}

}  // namespace quorl
