// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Scanner/HTTPAnswer.h>

namespace quorl {

/// What a port on the loopback answers to a request.
struct ProbeResult {
  enum class Answer : std::uint8_t {
    http,           // any status
    otherProtocol,  // bytes that are not HTTP
    closed,         // the connection was closed before a whole head
    none,           // refused, or nothing in time
  };

  Answer answer = Answer::none;
  std::optional<std::string> title;

  bool operator==(const ProbeResult&) const = default;
};

/// One GET request for "/" to 127.0.0.1, which follows redirects within the server.
///
/// *Queue*: the caller's, given at construction; `start` is called on it, and `completion` runs on it.
/// *Blocking*: none.
/// *Ownership*: the caller's; made with std::make_shared.
/// *Lifetime*: destruction ends the connection, and the completion is not called afterwards.
class ServiceProbe : public std::enable_shared_from_this<ServiceProbe> {
 public:
  static constexpr std::chrono::milliseconds timeLimit{700};
  static constexpr int maxRedirects = 4;

  using Completion = std::function<void(const ProbeResult&)>;

  /// `limit`: for all requests together.
  ServiceProbe(SerialQueue queue, std::shared_ptr<Network> network, std::uint16_t port,
               std::chrono::milliseconds limit = timeLimit);

  /// Called once. `completion` is called exactly once, after the limit at the latest.
  void start(Completion completion);

 private:
  void request(std::string path) QUORL_REQUIRES(queue_);
  void armReceive() QUORL_REQUIRES(queue_);
  void received(ByteView bytes, bool isLast) QUORL_REQUIRES(queue_);
  void answered() QUORL_REQUIRES(queue_);
  void finish(ProbeResult::Answer answer) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<Network> network_;
  const std::uint16_t port_;
  const std::chrono::milliseconds limit_;
  Completion completion_ QUORL_GUARDED_BY(queue_);
  Timer timer_ QUORL_GUARDED_BY(queue_);
  std::unique_ptr<NetworkConnection> connection_ QUORL_GUARDED_BY(queue_);
  std::string path_ QUORL_GUARDED_BY(queue_);
  HTTPAnswer answer_ QUORL_GUARDED_BY(queue_);
  bool isConnected_ QUORL_GUARDED_BY(queue_) = false;
  int redirects_ QUORL_GUARDED_BY(queue_) = 0;
};

}  // namespace quorl
