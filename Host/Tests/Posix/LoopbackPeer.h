// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostPosix/SocketNetwork.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::test {

constexpr std::chrono::seconds patience{20};

/// A port that nothing on the machine listens on.
std::uint16_t freePort();

/// The other end of a connection under test: a plain blocking socket with deadlines.
class LoopbackPeer {
 public:
  enum class End : std::uint8_t { open, finished, reset };

  explicit LoopbackPeer(std::uint16_t port, const std::string& host = "127.0.0.1");

  bool isConnected() const { return socket_.isOpen(); }
  int descriptor() const { return socket_.get(); }
  /// Writes everything, or returns false.
  bool write(ByteView bytes);
  /// Reads until there are `count` bytes, the stream ends or the deadline passes.
  Bytes read(std::size_t count);
  /// Reads to the end of the stream.
  Bytes readAll();
  End end() const { return end_; }
  void finishWriting();
  /// Ends with a reset instead of an orderly close.
  void reset();
  void close() { socket_.reset(); }

 private:
  Descriptor socket_;
  End end_ = End::open;
};

/// A listener on a free port, its network and scheduler, and the connections it has accepted.
class ListeningHost {
 public:
  ListeningHost();
  ~ListeningHost();

  std::uint16_t port() const { return port_; }
  SerialQueue& queue() { return queue_; }
  SocketNetwork& network() { return *network_; }
  NetworkListener& listener() { return *listener_; }
  /// The next accepted connection, not started. Absent when none comes in time.
  std::unique_ptr<NetworkConnection> accept();

 private:
  PoolScheduler scheduler_;
  SerialQueue queue_;
  std::unique_ptr<SocketNetwork> network_;
  std::uint16_t port_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::vector<std::unique_ptr<NetworkConnection>> accepted_;
  std::unique_ptr<NetworkListener> listener_;
};

/// Frames as the host sends them: type, length, payload.
OutgoingFrame frameOf(Bytes payload);

/// Deterministic bytes that differ from position to position.
Bytes pattern(std::size_t size, std::uint32_t seed = 1);

}  // namespace quorl::test
