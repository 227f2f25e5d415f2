// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/Waiter.h>
#include <quorl-client/Session/HostAddress.h>
#include <quorl-client/Session/SSHTunnel.h>

namespace quorl::client {

/// One session with a host over TCP or through ssh, from connect to close: frames in, frames out. The caller
/// interprets the frames; the session itself answers pings and keeps the host's last error, which is reported
/// when the host closes.
///
/// *Queue*: one thread. *Ownership*: the command's. *Lifetime*: shorter than its Waiter.
class Session {
 public:
  /// Through ssh it returns when the host has answered. If ssh may ask, the person gets a few minutes beyond
  /// the deadline to answer.
  static Outcome<std::unique_ptr<Session>> connect(const HostAddress& address, Waiter& waiter,
                                                   Deadline deadline,
                                                   Questions questions = Questions::allowed);

  /// Queues the frame and writes what the socket takes at once. The rest is sent during the next wait.
  Outcome<void> send(const OutgoingFrame& frame);
  Outcome<void> send(const ControlMessage& message);
  Outcome<void> send(const InputEvent& event);
  /// Bytes not yet taken by the socket. Above 0 after a break: the host never received the last frame whole.
  std::size_t unsentBytes() const { return outbox_.size() - outboxHead_; }

  /// Waits until a frame has arrived, a descriptor of `alsoReadable` is readable, or the deadline. Frames
  /// that arrived before the host closed the connection are delivered before the close is reported.
  Outcome<Waiter::Ready> wait(Deadline deadline, std::span<const int> alsoReadable = {});
  /// As `wait`, but also returns when the socket has taken everything that was sent.
  Outcome<Waiter::Ready> waitUntilSent(Deadline deadline, std::span<const int> alsoReadable = {});
  std::optional<Frame> takeFrame();

  /// The next control message; nothing at the deadline. Skips other frames and messages that cannot be
  /// decoded (of a newer protocol).
  Outcome<std::optional<ControlMessage>> nextControl(Deadline deadline);
  /// For callers that take frames themselves. Nothing if the frame cannot be decoded.
  std::optional<ControlMessage> decodeControl(const Frame& frame);

  /// Sends `bye` and waits until the host closes, so that nothing sent is lost, at most until the deadline.
  void finish(Deadline deadline);

  /// The description that the host sent; set by the handshake.
  DeviceInfo hostDevice;

  int descriptor() const { return socket_.get(); }
  /// Whether the host can send datagrams to this client: not through ssh.
  bool carriesDatagrams() const { return !tunnel_; }
  Waiter& waiter() { return waiter_; }
  const HostAddress& address() const { return address_; }
  std::uint64_t receivedBytes() const { return receivedBytes_; }
  const std::optional<WireError>& lastHostError() const { return lastHostError_; }

  /// Makes `wait` ignore the last error of the host when it reports a close.
  void forgetHostError() { lastHostError_.reset(); }

 private:
  Session(const HostAddress& address, Descriptor socket, Waiter& waiter);

  static Outcome<std::unique_ptr<Session>> connectThroughSSH(const HostAddress& address, Waiter& waiter,
                                                             Deadline deadline, Questions questions);
  Outcome<void> awaitFirstAnswer(Deadline deadline);
  enum class Until : std::uint8_t { arrival, sent };
  Outcome<Waiter::Ready> waitFor(Until until, Deadline deadline, std::span<const int> alsoReadable);
  Outcome<void> readSome();
  Outcome<void> writeSome();
  ClientError closedError() const;
  ClientError brokenError(int status) const;

  HostAddress address_;
  std::unique_ptr<SSHTunnel> tunnel_;  // before the socket, whose end ends ssh
  Descriptor socket_;
  Waiter& waiter_;

  Deframer deframer_;
  Bytes receiveBuffer_;
  std::deque<Frame> inbox_;
  std::uint64_t receivedBytes_ = 0;
  // Why nothing more will arrive; reported once the inbox is empty.
  std::optional<ClientError> ended_;
  bool endedByHost_ = false;

  Bytes outbox_;
  std::size_t outboxHead_ = 0;
  bool isWritable_ = true;

  std::optional<WireError> lastHostError_;
  std::string closingReason_;
};

}  // namespace quorl::client
