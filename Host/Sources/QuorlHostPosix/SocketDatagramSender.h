// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include <boost/asio/posix/stream_descriptor.hpp>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostPosix/IoLoop.h>
#include <QuorlHostPosix/SocketAddress.h>

namespace quorl {

/// A connected UDP socket. Datagrams for which the kernel has no room wait, up to a few megabytes, so that
/// fragments of a key frame are not lost on this machine.
///
/// *Queue*: any thread. *Ownership*: held by `SocketDatagramHandle` and by the loop's pending wait, weakly.
class SocketDatagramSender : public std::enable_shared_from_this<SocketDatagramSender> {
 public:
  explicit SocketDatagramSender(std::shared_ptr<IoLoop> loop);

  /// `local`: the address to send from, if it matters; its port is not used.
  void open(const SocketAddress& peer, const std::optional<SocketAddress>& local);
  void send(Bytes datagram);
  void close();

 private:
  enum class Outcome : std::uint8_t { gone, noRoom };

  Outcome transmit(const Bytes& datagram);  // with `mutex_` held
  void waitForRoom();                       // with `mutex_` held
  void sendWaiting();

  const std::shared_ptr<IoLoop> loop_;
  std::mutex mutex_;  // guards all below
  boost::asio::posix::stream_descriptor socket_;
  std::deque<Bytes> waiting_;
  std::size_t waitingBytes_ = 0;
};

/// Owned by the users of the port.
class SocketDatagramHandle final : public DatagramSender {
 public:
  explicit SocketDatagramHandle(std::shared_ptr<SocketDatagramSender> sender) : sender_(std::move(sender)) {}
  ~SocketDatagramHandle() override { sender_->close(); }
  void send(Bytes datagram) override { sender_->send(std::move(datagram)); }

 private:
  std::shared_ptr<SocketDatagramSender> sender_;
};

}  // namespace quorl
