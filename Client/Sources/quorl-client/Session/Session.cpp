// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/Session.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Base/Shorten.h>
#include <quorl-client/Session/Sockets.h>

namespace quorl::client {
namespace {

constexpr std::size_t receiveSize = 524'288;

constexpr std::size_t maxPing = 65'536;
constexpr std::size_t maxUnansweredPings = 262'144;

// An ssh server waits two minutes for a login (LoginGraceTime of sshd_config(5)).
constexpr auto timeToAnswer = std::chrono::seconds(150);

bool canAskQuestions() {
  if (std::getenv("SSH_ASKPASS") != nullptr || !sshVariables().empty()) return true;
  return Descriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)).isOpen();
}

// What a person reads of a host that may be hostile: in a terminal, in a window, in the file of pairings.
void bound(ControlMessage& control) {
  constexpr std::size_t longestName = 256;
  constexpr std::size_t longestReason = 4'096;
  if (auto* greeting = std::get_if<message::HelloAck>(&control)) {
    auto& device = greeting->_0.device;
    for (auto* text : {&device.name, &device.model, &device.osVersion}) shorten(*text, longestName);
  } else if (auto* error = std::get_if<message::Error>(&control)) {
    shorten(error->_0.code, longestName);
    shorten(error->_0.message, longestReason);
  } else if (auto* closed = std::get_if<message::SessionClosed>(&control)) {
    shorten(closed->reason, longestReason);
  }
}

}  // namespace

Outcome<std::unique_ptr<Session>> Session::connect(const HostAddress& address, Waiter& waiter,
                                                   Deadline deadline, Questions questions) {
  if (address.ssh) return connectThroughSSH(address, waiter, deadline, questions);
  auto socket = connectTCP(address, waiter, deadline);
  if (!socket) return std::unexpected(socket.error());
  return std::unique_ptr<Session>(new Session(address, std::move(*socket), waiter));
}

Session::Session(const HostAddress& address, Descriptor socket, Waiter& waiter)
    : address_(address), socket_(std::move(socket)), waiter_(waiter), receiveBuffer_(receiveSize) {}

Outcome<std::unique_ptr<Session>> Session::connectThroughSSH(const HostAddress& address, Waiter& waiter,
                                                             Deadline deadline, Questions questions) {
  auto tunnel = SSHTunnel::start(address, questions, waiter, deadline);
  if (!tunnel) return std::unexpected(tunnel.error());
  std::unique_ptr<Session> session(new Session(address, (*tunnel)->takeSocket(), waiter));
  session->tunnel_ = std::move(*tunnel);
  const bool mayAsk = questions == Questions::allowed && canAskQuestions();
  // Progress notes would disturb a person who types a password.
  auto slowNotice = mayAsk ? std::exchange(waiter.onSlow, nullptr) : nullptr;
  const auto answered =
      session->awaitFirstAnswer(mayAsk ? std::max(deadline, within(timeToAnswer)) : deadline);
  if (slowNotice) waiter.onSlow = std::move(slowNotice);
  if (!answered) return std::unexpected(answered.error());
  session->tunnel_->stopShowing();
  return session;
}

// A host answers a ping before anything else, so its pong shows that the whole way is open.
Outcome<void> Session::awaitFirstAnswer(Deadline deadline) {
  if (auto sent = send(OutgoingFrame::raw(FrameType::ping, shareBytes({}))); !sent) return sent;
  for (;;) {
    while (const auto frame = takeFrame())
      if (frame->type == FrameType::pong) return {};
    const auto line = tunnel_->nextLineDue();
    const auto ready = wait(line ? std::min(*line, deadline) : deadline);
    if (!ready) return std::unexpected(ready.error());
    const auto now = Clock::now();
    tunnel_->showDueLines(now);
    if (now >= deadline)
      return failed(ExitCode::unreachable, fmt::format("no answer from {}", address_.text()),
                    fmt::format("Check that '{}' works and that Quorl Host runs on that computer.",
                                sshCommandText(address_)));
  }
}

Outcome<void> Session::send(const OutgoingFrame& frame) {
  if (ended_) return std::unexpected(*ended_);
  std::size_t written = 0;
  const auto prefix = frame.prefix();
  const auto body = frame.body();
  if (unsentBytes() == 0) {
    const std::array<iovec, 2> parts{iovec{const_cast<std::uint8_t*>(prefix.data()), prefix.size()},
                                     iovec{const_cast<std::uint8_t*>(body.data()), body.size()}};
    msghdr header{};
    header.msg_iov = const_cast<iovec*>(parts.data());
    header.msg_iovlen = parts.size();
    const auto count = ::sendmsg(socket_.get(), &header, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count >= 0) written = static_cast<std::size_t>(count);
    // The next read reports a broken pipe and may still return the host's last messages.
  }
  const auto rest = [&](ByteView part) {
    const auto done = std::min(written, part.size());
    outbox_.insert(outbox_.end(), part.begin() + static_cast<std::ptrdiff_t>(done), part.end());
    written -= done;
  };
  rest(prefix);
  rest(body);
  return {};
}

Outcome<void> Session::send(const ControlMessage& message) {
  auto frame = OutgoingFrame::control(message);
  if (!frame) return failed(ExitCode::failure, "the message cannot be sent: " + frame.error().text);
  return send(*frame);
}

Outcome<void> Session::send(const InputEvent& event) {
  return send(OutgoingFrame::input(event));
}

Outcome<Waiter::Ready> Session::wait(Deadline deadline, std::span<const int> alsoReadable) {
  return waitFor(Until::arrival, deadline, alsoReadable);
}

Outcome<Waiter::Ready> Session::waitUntilSent(Deadline deadline, std::span<const int> alsoReadable) {
  return waitFor(Until::sent, deadline, alsoReadable);
}

Outcome<Waiter::Ready> Session::waitFor(Until until, Deadline deadline, std::span<const int> alsoReadable) {
  std::vector<pollfd> watched(2 + alsoReadable.size());
  for (;;) {
    if (!inbox_.empty()) return Waiter::Ready::yes;
    if (ended_) return std::unexpected(*ended_);
    const short interest = static_cast<short>(POLLIN | (isWritable_ && unsentBytes() > 0 ? POLLOUT : 0));
    watched[0] = {socket_.get(), interest, 0};
    watched[1] = {tunnel_ ? tunnel_->errors() : -1, POLLIN, 0};
    for (std::size_t index = 0; index < alsoReadable.size(); ++index)
      watched[index + 2] = {alsoReadable[index], POLLIN, 0};
    const auto ready = waiter_.wait(watched, deadline);
    if (!ready || *ready == Waiter::Ready::deadline) return ready;
    if ((watched[0].revents & POLLOUT) != 0)
      if (auto wrote = writeSome(); !wrote) return std::unexpected(wrote.error());
    if ((watched[0].revents & ~POLLOUT) != 0)
      if (auto read = readSome(); !read) return std::unexpected(read.error());
    if (watched[1].revents != 0) {
      tunnel_->readErrors();
      if (tunnel_->nextLineDue()) return Waiter::Ready::deadline;
    }
    if (until == Until::sent && unsentBytes() == 0) return Waiter::Ready::yes;
    for (std::size_t index = 2; index < watched.size(); ++index)
      if (watched[index].revents != 0) return Waiter::Ready::yes;
  }
}

Outcome<void> Session::writeSome() {
  const auto count =
      ::send(socket_.get(), outbox_.data() + outboxHead_, unsentBytes(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (count < 0) {
    // From now on waits only read, and so find the end and its reason.
    if (errno != EAGAIN && errno != EINTR) isWritable_ = false;
  } else {
    outboxHead_ += static_cast<std::size_t>(count);
  }
  if (outboxHead_ == outbox_.size()) {
    outbox_.clear();
    outboxHead_ = 0;
  } else if (outboxHead_ > receiveSize) {
    outbox_.erase(outbox_.begin(), outbox_.begin() + static_cast<std::ptrdiff_t>(outboxHead_));
    outboxHead_ = 0;
  }
  return {};
}

Outcome<void> Session::readSome() {
  const auto count = ::recv(socket_.get(), receiveBuffer_.data(), receiveBuffer_.size(), MSG_DONTWAIT);
  if (count < 0) {
    if (errno == EAGAIN || errno == EINTR) return {};
    endedByHost_ = errno == ECONNRESET || errno == EPIPE;
    if (!endedByHost_) {
      ended_ = brokenError(errno);
      return {};
    }
  }
  if (count <= 0) {
    auto sshError = tunnel_ ? tunnel_->failure() : std::nullopt;
    endedByHost_ = !sshError;
    ended_ = sshError ? std::move(*sshError) : closedError();
    return {};
  }
  receivedBytes_ += static_cast<std::uint64_t>(count);
  auto frames = deframer_.feed(ByteView(receiveBuffer_).first(static_cast<std::size_t>(count)));
  if (!frames) {
    ended_ = ClientError{ExitCode::failure,
                         fmt::format("{} does not speak the session protocol ({})", address_.text(),
                                     frames.error().description()),
                         "Check that the port is Quorl Host's session port."};
    return {};
  }
  for (auto& frame : *frames) {
    if (frame.type == FrameType::ping) {
      // A host that floods with pings and does not read the answers gets none.
      if (frame.payload.size() > maxPing || unsentBytes() > maxUnansweredPings) continue;
      if (auto sent = send(OutgoingFrame::raw(FrameType::pong, shareBytes(std::move(frame.payload)))); !sent)
        return sent;
      continue;
    }
    inbox_.push_back(std::move(frame));
  }
  return {};
}

std::optional<Frame> Session::takeFrame() {
  if (inbox_.empty()) return std::nullopt;
  auto frame = std::move(inbox_.front());
  inbox_.pop_front();
  return frame;
}

std::optional<ControlMessage> Session::decodeControl(const Frame& frame) {
  if (frame.type != FrameType::control) return std::nullopt;
  auto decoded = ControlCoder::decode(frame.payload);
  if (!decoded) return std::nullopt;
  bound(*decoded);
  if (const auto* error = std::get_if<message::Error>(&*decoded)) lastHostError_ = error->_0;
  if (const auto* closed = std::get_if<message::SessionClosed>(&*decoded)) closingReason_ = closed->reason;
  // The end is often read before the message with its reason is decoded.
  if (ended_ && endedByHost_) ended_ = closedError();
  return std::move(*decoded);
}

Outcome<std::optional<ControlMessage>> Session::nextControl(Deadline deadline) {
  for (;;) {
    while (auto frame = takeFrame())
      if (auto decoded = decodeControl(*frame)) return decoded;
    const auto ready = wait(deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return std::optional<ControlMessage>();
  }
}

void Session::finish(Deadline deadline) {
  if (!send(ControlMessage(message::Bye{}))) return;
  for (;;) {
    while (takeFrame()) {
    }
    const auto ready = wait(deadline);
    if (!ready || *ready == Waiter::Ready::deadline) return;
  }
}

ClientError Session::closedError() const {
  if (!closingReason_.empty())
    return {ExitCode::failure, fmt::format("the host closed the session: {}", printable(closingReason_)),
            "Connect again when the host may be used."};
  if (lastHostError_)
    return {ExitCode::failure,
            fmt::format("the host closed the connection: {} ({})", printable(lastHostError_->message),
                        printable(lastHostError_->code)),
            {}};
  return {ExitCode::failure, "the host closed the connection", "The host's log names the cause."};
}

ClientError Session::brokenError(int status) const {
  return {ExitCode::failure, fmt::format("the connection broke: {}", std::strerror(status)),
          "Check the network and try again."};
}

}  // namespace quorl::client
