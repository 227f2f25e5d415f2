// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/RelayConnection.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Relay/HeadTerminator.h>

namespace quorl {

namespace {

constexpr std::string_view backendHost = "127.0.0.1";

RelayRejection tooLarge() {
  return {RelayHead::tooLarge, std::nullopt};
}

}  // namespace

RelayConnection::RelayConnection(Scheduler& scheduler, std::unique_ptr<NetworkConnection> client,
                                 std::shared_ptr<const RelayServices> services)
    : queue_(scheduler, "quorl.relay.conn", QueueRank::connection),
      services_(std::move(services)),
      client_(std::move(client)) {}

void RelayConnection::start() {
  client_->start(queue_, nullptr);  // its receives report an end
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->readHead();
  });
}

void RelayConnection::endHandshake() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    if (self->headComplete_ || self->closed_) return;
    Log::relay.v("relay: handshake timeout, dropping idle connection");
    self->shutdown();
  });
}

void RelayConnection::receive(NetworkConnection& from, std::size_t maximum, Arrived arrived) {
  from.receive(maximum, [weak = weak_from_this(), arrived](ByteView bytes, bool isComplete,
                                                           const std::optional<PortError>& error) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!self->closed_) ((*self).*arrived)(bytes, isComplete || error);
  });
}

void RelayConnection::send(NetworkConnection& to, Bytes bytes, void (RelayConnection::*sent)()) {
  to.sendBytes(shareBytes(std::move(bytes)),
               [weak = weak_from_this(), sent](const std::optional<PortError>& error) {
                 const auto self = weak.lock();
                 if (!self) return;
                 self->queue_.assertCurrent();
                 if (self->closed_) return;
                 if (error)
                   self->shutdown();
                 else
                   ((*self).*sent)();
               });
}

// The head

void RelayConnection::readHead() {
  receive(*client_, headReadSize, &RelayConnection::headArrived);
}

void RelayConnection::headArrived(ByteView bytes, bool isLast) {
  const std::size_t searched = headBuffer_.size();
  headBuffer_.insert(headBuffer_.end(), bytes.begin(), bytes.end());
  // Bytes of a body that came with the head count too.
  if (headBuffer_.size() > headLimit) {
    reject(tooLarge());
    return;
  }
  if (const auto terminator = findTerminator(headBuffer_, searched)) {
    headComplete_ = true;
    const Bytes all = std::exchange(headBuffer_, {});
    const std::size_t size = *terminator + headTerminator.size();
    handleHead(ByteView(all).first(size), ByteView(all).subspan(size));
  } else if (isLast) {
    shutdown();
  } else {
    readHead();
  }
}

void RelayConnection::handleHead(ByteView head, ByteView remainder) {
  const RelayTokens tokens(services_->trustStore->trustedDevices());
  auto request = RelayHead::decide(head, tokens, services_->allowedPorts);
  if (request)
    connectBackend(std::move(*request), remainder);
  else
    reject(request.error());
}

void RelayConnection::reject(const RelayRejection& rejection) {
  if (rejection.refusedPort)
    Log::relay.v(fmt::format("relay REJECT :{} — not in known-service allowlist", *rejection.refusedPort));
  client_->sendBytes(shareBytes(bytesOf(fmt::format(
                         "HTTP/1.1 {}\r\nConnection: close\r\nContent-Length: 0\r\n\r\n", rejection.status))),
                     [weak = weak_from_this()](const std::optional<PortError>&) {
                       const auto self = weak.lock();
                       if (!self) return;
                       self->queue_.assertCurrent();
                       self->shutdown();
                     });
}

// The backend

void RelayConnection::connectBackend(RelayRequest request, ByteView remainder) {
  if (request.cookie) responseHead_.emplace(std::move(*request.cookie));
  backend_ = services_->network->connect({std::string(backendHost), request.port});
  backend_->start(queue_, [weak = weak_from_this()](NetworkConnection::State state, const PortError&) {
    const auto self = weak.lock();
    if (!self || state == NetworkConnection::State::ready) return;
    self->queue_.assertCurrent();
    self->shutdown();
  });
  if (Log::verbose) Log::relay.v(fmt::format("relay {} :{}{}", request.method, request.port, request.tail));
  Bytes bytes;
  bytes.reserve(request.head.size() + remainder.size());
  bytes.insert(bytes.end(), request.head.begin(), request.head.end());
  bytes.insert(bytes.end(), remainder.begin(), remainder.end());
  // It waits for the connection.
  send(*backend_, std::move(bytes), &RelayConnection::startPipes);
}

void RelayConnection::startPipes() {
  NetworkConnection::Filter filter;
  if (responseHead_) filter = [head = *responseHead_](ByteView bytes) mutable { return head.append(bytes); };
  const bool isJoined = client_->join(*backend_, std::move(filter), [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->shutdown();
  });
  if (isJoined) return;
  pipeClientToBackend();
  pipeBackendToClient();
}

void RelayConnection::pipeClientToBackend() {
  receive(*client_, pipeReadSize, &RelayConnection::clientBytesArrived);
}

void RelayConnection::clientBytesArrived(ByteView bytes, bool isLast) {
  if (!bytes.empty())
    send(*backend_, {bytes.begin(), bytes.end()}, &RelayConnection::pipeClientToBackend);
  else if (isLast)
    shutdown();
  else
    pipeClientToBackend();
}

void RelayConnection::pipeBackendToClient() {
  receive(*backend_, pipeReadSize, &RelayConnection::backendBytesArrived);
}

void RelayConnection::backendBytesArrived(ByteView bytes, bool isLast) {
  if (bytes.empty() && isLast) {
    shutdown();
    return;
  }
  std::optional<Bytes> passed(std::in_place, bytes.begin(), bytes.end());
  if (responseHead_) passed = responseHead_->append(bytes);
  if (!passed || passed->empty()) {
    pipeBackendToClient();
    return;
  }
  responseHead_.reset();
  send(*client_, std::move(*passed), &RelayConnection::pipeBackendToClient);
}

void RelayConnection::shutdown() {
  if (closed_) return;
  closed_ = true;
  client_->cancel();
  if (backend_) backend_->cancel();
  if (onClose_) std::exchange(onClose_, nullptr)();
}

}  // namespace quorl
