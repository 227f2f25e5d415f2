// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketConnection.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include <QuorlHostPosix/SocketAddress.h>
#include <QuorlHostPosix/SocketConnect.h>
#include <QuorlHostPosix/SocketOptions.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlHostPosix/TransportState.h>
#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/SecretText.h>

namespace quorl {

namespace {

// After a read of this size more is probably waiting.
constexpr std::size_t fullReadSize = 65'536;

bool wouldBlock(int number) {
  return number == EAGAIN || number == EWOULDBLOCK;
}

}  // namespace

SocketConnection::SocketConnection(std::shared_ptr<IoLoop> loop, Descriptor descriptor,
                                   std::optional<HostPort> peer)
    : loop_(std::move(loop)),
      peer_(std::move(peer)),
      descriptor_(std::move(descriptor)),
      socket_(loop_->context()),
      moreExpected_(true) {
  loop_->connectionBegan();
}

SocketConnection::SocketConnection(std::shared_ptr<IoLoop> loop, HostPort peer)
    : loop_(std::move(loop)), peer_(std::move(peer)), socket_(loop_->context()) {
  loop_->connectionBegan();
}

SocketConnection::~SocketConnection() {
  QUORL_CHECK(phase_ == Phase::cancelled, "a socket connection was dropped without a cancel");
}

int SocketConnection::descriptor() {
  return descriptor_.isOpen() ? descriptor_.get() : socket_.native_handle();
}

// Passes the socket to the loop. Not earlier than needed, because a socket that never waits saves system
// calls.
bool SocketConnection::watch() {
  if (!descriptor_.isOpen()) return true;
  boost::system::error_code error;
  socket_.assign(boost::asio::ip::tcp::v6(), descriptor_.get(), error);
  if (error) {
    queue_->async([self = shared_from_this(), failure = PortError{error.message(), error.value()}] {
      self->fail(failure);
    });
    return false;
  }
  descriptor_.release();
  return true;
}

void SocketConnection::start(SerialQueue queue, NetworkConnection::StateHandler handler) {
  std::lock_guard lock(mutex_);
  if (phase_ == Phase::cancelled) return;
  QUORL_CHECK(phase_ == Phase::idle, "a connection is started once");
  queue_ = std::move(queue);
  handler_ = std::move(handler);
  phase_ = Phase::open;
  if (!descriptor_.isOpen()) connect();
  if (error_) {
    queue_->async([self = shared_from_this(), error = *error_] { self->fail(error); });
    return;
  }
  if (phase_ == Phase::connecting) {
    waitForPeer();
    return;
  }
  if (handler_) queue_->async([self = shared_from_this()] { self->reportReady(); });
  open();
}

// Leaves the connection connecting, open or with an error.
void SocketConnection::connect() {
  auto attempt = beginConnecting(*peer_);
  if (!attempt) {
    error_ = attempt.error();
    return;
  }
  if (attempt->stage == ConnectAttempt::Stage::underWay) phase_ = Phase::connecting;
  descriptor_ = std::move(attempt->socket);
}

void SocketConnection::waitForPeer() {
  if (!watch()) return;
  socket_.async_wait(IoLoop::Socket::wait_write,
                     [weak = weak_from_this(), queue = *queue_](const boost::system::error_code& error) {
                       if (error == boost::asio::error::operation_aborted) return;
                       if (auto self = weak.lock())
                         queue.async([self = std::move(self)] { self->finishConnecting(); });
                     });
}

void SocketConnection::finishConnecting() {
  std::optional<PortError> failure;
  {
    std::lock_guard lock(mutex_);
    if (phase_ != Phase::connecting) return;
    phase_ = Phase::open;
    failure = connectFailure(descriptor());
    if (!failure) open();
  }
  if (failure)
    fail(*failure);
  else
    reportReady();
}

void SocketConnection::open() {
  if (receive_) armReceive();
  if (!pending_.isEmpty()) scheduleFlush();
}

void SocketConnection::reportReady() {
  NetworkConnection::StateHandler handler;
  {
    std::lock_guard lock(mutex_);
    if (phase_ == Phase::open) handler = handler_;
  }
  if (handler && !silent_) handler(NetworkConnection::State::ready, {});
}

void SocketConnection::receive(std::size_t maximum, NetworkConnection::Receive completion) {
  QUORL_CHECK(maximum > 0, "a receive takes at least one byte");
  std::lock_guard lock(mutex_);
  if (phase_ == Phase::cancelled) return;
  if (phase_ == Phase::failed) {
    queue_->async([self = shared_from_this(), completion = std::move(completion), error = *error_]() mutable {
      if (self->isIn(Phase::failed)) completion({}, false, std::move(error));
    });
    return;
  }
  QUORL_CHECK(!receive_, "one receive is outstanding at most");
  receive_ = std::move(completion);
  receiveMaximum_ = std::min(maximum, IoLoop::bufferSize);
  if (phase_ == Phase::open) armReceive();
}

void SocketConnection::armReceive() {
  if (moreExpected_)
    queue_->async([self = shared_from_this()] { self->tryReceive(); });
  else
    waitForInput();
}

void SocketConnection::waitForInput() {
  if (!watch()) return;
  socket_.async_wait(IoLoop::Socket::wait_read,
                     [weak = weak_from_this(), queue = *queue_](const boost::system::error_code& error) {
                       if (error == boost::asio::error::operation_aborted) return;
                       if (auto self = weak.lock())
                         queue.async([self = std::move(self)] { self->tryReceive(); });
                     });
}

void SocketConnection::tryReceive() {
  NetworkConnection::Receive completion;
  IoLoop::Buffer buffer;
  ssize_t count = 0;
  int number = 0;
  {
    std::lock_guard lock(mutex_);
    if (phase_ != Phase::open || !receive_) return;
    buffer = loop_->takeBuffer();
    do {
      count = ::recv(descriptor(), buffer.get(), receiveMaximum_, MSG_DONTWAIT);
      number = errno;
    } while (count < 0 && number == EINTR);
    if (count < 0 && wouldBlock(number)) {
      moreExpected_ = false;
      waitForInput();
    } else if (count >= 0) {
      const auto size = static_cast<std::size_t>(count);
      moreExpected_ = size == receiveMaximum_ || size >= fullReadSize;
      peerFinished_ = size == 0;
      completion = std::move(receive_);
      receive_ = nullptr;
    }
  }
  if (completion)
    completion(ByteView(buffer.get(), static_cast<std::size_t>(count)), count == 0, std::nullopt);
  if (std::exchange(forgetsReceived_, false))
    overwrite({reinterpret_cast<char*>(buffer.get()), static_cast<std::size_t>(count)});
  loop_->giveBack(std::move(buffer));
  if (count < 0 && !wouldBlock(number)) fail(systemError(number));
}

void SocketConnection::send(OutgoingFrame frame, NetworkConnection::Sent completion) {
  std::lock_guard lock(mutex_);
  enqueue({std::move(frame), std::move(completion)});
}

void SocketConnection::sendBytes(SharedBytes bytes, NetworkConnection::Sent completion) {
  std::lock_guard lock(mutex_);
  enqueue({std::move(bytes), std::move(completion)});
}

void SocketConnection::enqueue(PendingSends::Item outgoing) {
  if (phase_ == Phase::cancelled) return;
  if (phase_ == Phase::failed) {
    if (!outgoing.completion) return;
    queue_->async(
        [self = shared_from_this(), completion = std::move(outgoing.completion), error = *error_]() mutable {
          if (self->isIn(Phase::failed)) completion(std::move(error));
        });
    return;
  }
  pending_.add(std::move(outgoing));
  if (phase_ == Phase::open) scheduleFlush();
}

void SocketConnection::scheduleFlush() {
  if (flushScheduled_ || waitingForRoom_) return;
  flushScheduled_ = true;
  queue_->async([self = shared_from_this()] { self->flush(); });
}

void SocketConnection::flush() {
  Completions written;
  std::optional<PortError> error;
  {
    std::lock_guard lock(mutex_);
    flushScheduled_ = false;
    if (phase_ != Phase::open) return;
    error = pending_.write(descriptor(), written);
    if (!error && !pending_.isEmpty()) waitForRoom();
    if (!error) watchPeer();
  }
  complete(std::move(written), std::nullopt, Phase::open);
  if (error) fail(*error);
}

void SocketConnection::waitForRoom() {
  if (!watch()) return;
  waitingForRoom_ = true;
  socket_.async_wait(IoLoop::Socket::wait_write,
                     [weak = weak_from_this()](const boost::system::error_code& error) {
                       if (error == boost::asio::error::operation_aborted) return;
                       const auto self = weak.lock();
                       if (!self) return;
                       std::lock_guard lock(self->mutex_);
                       self->waitingForRoom_ = false;
                       if (self->phase_ == Phase::open) self->scheduleFlush();
                     });
}

void SocketConnection::watchPeer() {
  if (peerWatched_) return;
  peerWatched_ = true;
  loop_->reviewRegularly([weak = weak_from_this()] {
    const auto self = weak.lock();
    return self && self->reviewPeer();
  });
}

bool SocketConnection::reviewPeer() {
  std::lock_guard lock(mutex_);
  peerWatched_ = phase_ == Phase::open && reviewUserTimeout(descriptor());
  return peerWatched_;
}

void SocketConnection::complete(Completions completions, const std::optional<PortError>& error,
                                Phase during) {
  for (auto& completion : completions)
    if (completion && isIn(during)) completion(error);
}

void SocketConnection::fail(const PortError& error) {
  NetworkConnection::Receive receive;
  NetworkConnection::StateHandler handler;
  Completions dropped;
  {
    std::lock_guard lock(mutex_);
    if (phase_ != Phase::open && phase_ != Phase::connecting) return;
    phase_ = Phase::failed;
    error_ = error;
    receive = std::move(receive_);
    handler = handler_;
    dropped = pending_.drop();
  }
  if (receive) receive({}, false, error);
  complete(std::move(dropped), error, Phase::failed);
  if (handler && isIn(Phase::failed)) handler(NetworkConnection::State::failed, error);
}

bool SocketConnection::canJoin() const {
  return phase_ == Phase::open && !receive_ && pending_.isEmpty();
}

Descriptor SocketConnection::takeDescriptor() {
  if (descriptor_.isOpen() || !socket_.is_open()) return std::move(descriptor_);
  boost::system::error_code ignored;
  return Descriptor(socket_.release(ignored));
}

bool SocketConnection::join(SocketConnection& other, NetworkConnection::Filter filter,
                            std::function<void()> ended) {
  const std::scoped_lock lock(mutex_, other.mutex_);
  if (!canJoin() || !other.canJoin()) return false;
  phase_ = Phase::joined;
  other.phase_ = Phase::joined;
  pipe_ = loop_->pipes().join({.first = takeDescriptor(),
                               .second = other.takeDescriptor(),
                               .filter = std::move(filter),
                               .queue = *queue_,
                               .ended = std::move(ended)});
  other.pipe_ = pipe_;
  return true;
}

void SocketConnection::cancel() {
  PendingSends pending;
  NetworkConnection::Receive receive;
  NetworkConnection::StateHandler handler;
  Descriptor socket;
  std::shared_ptr<SocketPipes::Handle> pipe;
  std::optional<SerialQueue> queue;
  Completions written;
  bool mayLinger = false;
  {
    std::lock_guard lock(mutex_);
    if (phase_ == Phase::cancelled) return;
    mayLinger = phase_ == Phase::open && !peerFinished_;
    if (phase_ == Phase::open) pending_.write(descriptor(), written);
    phase_ = Phase::cancelled;
    std::swap(pending, pending_);
    receive = std::move(receive_);
    handler = std::move(handler_);
    handler_ = nullptr;
    queue = queue_;
    socket = takeDescriptor();
    pipe.swap(pipe_);
  }
  if (pipe) pipe->cancel();
  if (mayLinger && socket.isOpen()) {
    ::shutdown(socket.get(), SHUT_WR);
    loop_->linger(std::move(socket));
  } else {
    socket.reset();
  }
  loop_->connectionEnded();
  if (!queue || !handler || silent_) return;
  queue->async([self = shared_from_this(), handler = std::move(handler)] {
    if (!self->silent_) handler(NetworkConnection::State::cancelled, {});
  });
}

TransportProgress SocketConnection::progress() {
  std::lock_guard lock(mutex_);
  if (phase_ != Phase::open) return progress_;
  if (const auto state = readTransport(descriptor())) {
    progress_.acknowledged =
        pending_.written() - std::min<std::uint64_t>(pending_.written(), state->unacknowledged);
    progress_.shortestRoundTrip = state->shortestRoundTrip;
  }
  return progress_;
}

void SocketConnection::limitUnsent(std::size_t bytes) {
  std::lock_guard lock(mutex_);
  if (descriptor() >= 0) setUnsentLimit(descriptor(), bytes);
}

std::optional<HostPort> SocketConnection::local() {
  std::lock_guard lock(mutex_);
  SocketAddress address;
  address.size = sizeof address.storage;
  if (descriptor() < 0 ||
      ::getsockname(descriptor(), reinterpret_cast<sockaddr*>(&address.storage), &address.size) != 0)
    return std::nullopt;
  return hostPortOf(address);
}

bool SocketConnection::isIn(Phase phase) {
  std::lock_guard lock(mutex_);
  return phase_ == phase && !silent_;
}

}  // namespace quorl
