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

namespace quorl::client {

// One TCP session with a host, from connect to close: frames in, frames out. What the frames mean is the
// caller's business, except that pings are answered and that the last error the host told is remembered for
// the moment when it closes the connection.
// Queue: one thread. Ownership: the command's. Lifetime: shorter than its Waiter.
class Session {
 public:
  static Outcome<std::unique_ptr<Session>> connect(const HostAddress& address, Waiter& waiter,
                                                   Deadline deadline);

  // Queues the frame and writes what the socket takes at once; the rest goes out during the next wait.
  Outcome<void> send(const OutgoingFrame& frame);
  Outcome<void> send(const ControlMessage& message);
  Outcome<void> send(const InputEvent& event);
  // Stays above 0 when the connection broke in the middle of a frame, which the host then never sees.
  std::size_t unsentBytes() const { return outbox_.size() - outboxHead_; }

  // Waits until a frame is there, one of the descriptors is readable, or the deadline has come. Frames that
  // came before the host closed the connection are delivered before its closing is reported.
  Outcome<Waiter::Ready> wait(Deadline deadline, std::span<const int> alsoReadable = {});
  std::optional<Frame> takeFrame();

  // The next control message; nothing at the deadline. Other frames are skipped, and so are messages of a
  // newer protocol, which cannot be decoded.
  Outcome<std::optional<ControlMessage>> nextControl(Deadline deadline);
  // For callers that take frames themselves. Nothing for what cannot be decoded.
  std::optional<ControlMessage> decodeControl(const Frame& frame);

  // Sends `bye` and lets the host close, so that nothing sent before is lost; gives up at the deadline.
  void finish(Deadline deadline);

  // Who the host says it is; set by the handshake.
  DeviceInfo hostDevice;

  int descriptor() const { return socket_.get(); }
  Waiter& waiter() { return waiter_; }
  const HostAddress& address() const { return address_; }
  std::uint64_t receivedBytes() const { return receivedBytes_; }
  const std::optional<WireError>& lastHostError() const { return lastHostError_; }

  // The last error that the host has sent plays no part in what `wait` says of an end.
  void forgetHostError() { lastHostError_.reset(); }

 private:
  Session(const HostAddress& address, Descriptor socket, Waiter& waiter);

  Outcome<void> readSome();
  Outcome<void> writeSome();
  ClientError closedError() const;
  ClientError brokenError(int status) const;

  HostAddress address_;
  Descriptor socket_;
  Waiter& waiter_;

  Deframer deframer_;
  Bytes receiveBuffer_;
  std::deque<Frame> inbox_;
  std::uint64_t receivedBytes_ = 0;
  // Why nothing more will come; told once the inbox is empty.
  std::optional<ClientError> ended_;
  bool endedByHost_ = false;

  Bytes outbox_;
  std::size_t outboxHead_ = 0;
  bool isWritable_ = true;

  std::optional<WireError> lastHostError_;
  std::string closingReason_;
};

}  // namespace quorl::client
