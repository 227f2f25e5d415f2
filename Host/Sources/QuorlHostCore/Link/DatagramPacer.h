// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <functional>
#include <memory>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Link/PacingBucket.h>
#include <QuorlHostCore/Ports/Network.h>

namespace quorl {

/// Sends one client's pictures as datagrams at the rate of its streams instead of in bursts, which the
/// smallest buffer on the path would drop. The waiting time is bounded: while datagrams for more than 33 ms
/// wait, no further picture should be made.
///
/// *Queue*: its connection's, for operations and callbacks.
/// *Blocking*: none.
/// *Ownership*: its connection's, shared; owns the sender.
/// *Lifetime*: the timer holds it weakly. Destruction drops waiting datagrams.
class DatagramPacer : public std::enable_shared_from_this<DatagramPacer> {
 public:
  static constexpr double burst = 16'384;                           // bytes
  static constexpr Duration slack = std::chrono::milliseconds(33);  // of waiting datagrams
  static constexpr std::size_t mostWaiting = 4'194'304;             // bytes; more are dropped

  enum class State : std::uint8_t { flowing, queued };

  DatagramPacer(SerialQueue queue, std::unique_ptr<DatagramSender> sender,
                std::function<void(State)> stateChanged);

  void setRate(double bytesPerSecond);
  void send(Bytes datagram);

 private:
  void sendWaiting() QUORL_REQUIRES(queue_);
  void reportState() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::unique_ptr<DatagramSender> sender_;
  const std::function<void(State)> stateChanged_;

  PacingBucket bucket_ QUORL_GUARDED_BY(queue_){burst};
  double rate_ QUORL_GUARDED_BY(queue_) = 250'000;
  std::deque<Bytes> waiting_ QUORL_GUARDED_BY(queue_);
  std::size_t waitingBytes_ QUORL_GUARDED_BY(queue_) = 0;
  State state_ QUORL_GUARDED_BY(queue_) = State::flowing;
  Timer timer_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
