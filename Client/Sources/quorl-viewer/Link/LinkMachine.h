// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::viewer {

using client::ClientError;
using client::Clock;

/// The state of a link as a person sees it.
struct LinkStatus {
  enum class State : std::uint8_t {
    connecting,
    connected,
    stalled,  // connected, but a heartbeat is not answered
    waiting,  // for the next attempt
    stopped   // by the person, or because another attempt would fail in the same way
  };

  State state = State::stopped;
  /// Of `stalled`: the host's last sign of life. Of the others: the beginning of the state. A counter shows
  /// the time since then.
  Clock::time_point since{};
  /// Of `waiting`.
  Clock::time_point retryAt{};
  /// Why the connection is gone or was not made; absent while it is there and after `cancel`.
  std::optional<ClientError> reason;
};

/// When to probe, to give up and to connect again. Pure: events and the time in, actions out.
///
/// The link counts as alive while any byte arrives. After a silence a heartbeat is sent; a heartbeat without
/// an answer for `stallAfter` makes it `stalled`, and a silence of `giveUpAfter` ends the connection. Then it
/// is made again after 1, 2, 4, 8, 16, 30, 30 ... seconds. A link that lasted `stable` starts again with 1,
/// and so does a change of the network; a shorter one starts again with 2.
///
/// *Queue*: one at a time. *Ownership*: a value.
class LinkMachine {
 public:
  /// A host sends its metrics every two seconds, so a heartbeat is rare.
  static constexpr auto askAfter = std::chrono::milliseconds(2'500);
  /// The same after something was sent that the host may not have received.
  static constexpr auto askAfterSending = std::chrono::milliseconds(500);
  static constexpr auto stallAfter = std::chrono::milliseconds(2'000);
  static constexpr auto giveUpAfter = std::chrono::seconds(12);
  /// The patience after the computer has slept: a connection rarely survives that.
  static constexpr auto giveUpAfterSleep = std::chrono::seconds(3);
  static constexpr auto firstDelay = std::chrono::seconds(1);
  static constexpr auto lastDelay = std::chrono::seconds(30);
  static constexpr auto stable = std::chrono::seconds(3);
  /// Addresses and routes come in groups.
  static constexpr auto afterNetworkGain = std::chrono::milliseconds(300);

  /// What the caller has to do. Each is reported once.
  struct Actions {
    bool connects = false;     // begin an attempt
    bool disconnects = false;  // close the connection, or end the attempt
    bool probes = false;       // send a heartbeat
    bool reports = false;      // the status has changed
  };

  Actions start(Clock::time_point now);
  Actions connected(Clock::time_point now);
  /// An attempt failed or the connection broke. A code that another attempt cannot change stops the link.
  Actions failed(const ClientError& error, Clock::time_point now);
  Actions heard(Clock::time_point now);
  void sent(Clock::time_point now);
  /// The computer has slept.
  Actions resumed(Clock::time_point now);
  /// The computer has got an address or a route.
  Actions networkGained(Clock::time_point now);
  Actions reconnectNow(Clock::time_point now);
  Actions cancel(Clock::time_point now);
  Actions tick(Clock::time_point now);
  /// When `tick` is due; nothing if only an event can change something.
  std::optional<Clock::time_point> due() const;

  const LinkStatus& status() const { return status_; }
  /// Whether the next attempt was asked for by the person, so that ssh may ask questions.
  bool isByHand() const { return isByHand_; }

 private:
  using State = LinkStatus::State;

  bool isOpen() const { return status_.state == State::connected || status_.state == State::stalled; }
  Actions enter(State state, Clock::time_point now);
  Actions attempt(Clock::time_point now);
  Actions wait(const ClientError& reason, Clock::time_point now);
  Clock::time_point askAt() const;
  Clock::time_point giveUpAt() const;

  LinkStatus status_;
  bool isByHand_ = true;
  Clock::duration delay_ = firstDelay;
  Clock::time_point connectedAt_{};
  Clock::time_point heardAt_{};
  std::optional<Clock::time_point> sentAt_;   // the first time since `heardAt_`
  std::optional<Clock::time_point> askedAt_;  // the heartbeat without an answer
  std::optional<Clock::time_point> resumedAt_;
};

}  // namespace quorl::viewer
