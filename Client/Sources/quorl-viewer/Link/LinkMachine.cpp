// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/LinkMachine.h>

#include <algorithm>
#include <utility>

namespace quorl::viewer {
namespace {

using client::ExitCode;

bool mayPass(const ClientError& error) {
  return error.code == ExitCode::failure || error.code == ExitCode::unreachable ||
         error.code == ExitCode::timedOut;
}

}  // namespace

LinkMachine::Actions LinkMachine::enter(State state, Clock::time_point now) {
  status_.state = state;
  status_.since = now;
  return {.reports = true};
}

LinkMachine::Actions LinkMachine::attempt(Clock::time_point now) {
  auto actions = enter(State::connecting, now);
  actions.connects = true;
  return actions;
}

LinkMachine::Actions LinkMachine::wait(const ClientError& reason, Clock::time_point now) {
  auto actions = enter(State::waiting, now);
  status_.reason = reason;
  status_.retryAt = now + delay_;
  delay_ = std::min<Clock::duration>(delay_ * 2, lastDelay);
  isByHand_ = false;
  return actions;
}

LinkMachine::Actions LinkMachine::start(Clock::time_point now) {
  if (status_.state != State::stopped) return {};
  isByHand_ = true;
  delay_ = firstDelay;
  return attempt(now);
}

LinkMachine::Actions LinkMachine::connected(Clock::time_point now) {
  if (status_.state != State::connecting) return {};
  auto actions = enter(State::connected, now);
  status_.reason.reset();
  isByHand_ = false;
  connectedAt_ = heardAt_ = now;
  sentAt_.reset();
  askedAt_.reset();
  resumedAt_.reset();
  return actions;
}

LinkMachine::Actions LinkMachine::failed(const ClientError& error, Clock::time_point now) {
  if (status_.state == State::stopped || status_.state == State::waiting) return {};
  const bool wasOpen = isOpen();
  // A host that has answered is there. One that ends each connection at once is not asked every second.
  if (wasOpen)
    delay_ = now - connectedAt_ >= stable ? firstDelay : std::min<Clock::duration>(delay_, 2 * firstDelay);
  if (mayPass(error)) {
    auto actions = wait(error, now);
    actions.disconnects = wasOpen;
    return actions;
  }
  auto actions = enter(State::stopped, now);
  actions.disconnects = wasOpen;
  status_.reason = error;
  return actions;
}

LinkMachine::Actions LinkMachine::heard(Clock::time_point now) {
  if (!isOpen()) return {};
  heardAt_ = now;
  sentAt_.reset();
  askedAt_.reset();
  resumedAt_.reset();
  if (status_.state != State::stalled) return {};
  return enter(State::connected, now);
}

void LinkMachine::sent(Clock::time_point now) {
  if (!sentAt_) sentAt_ = now;
}

LinkMachine::Actions LinkMachine::resumed(Clock::time_point now) {
  if (status_.state == State::waiting) {
    delay_ = firstDelay;
    return attempt(now);
  }
  if (!isOpen()) return {};
  resumedAt_ = now;
  askedAt_ = now;
  return {.probes = true};
}

LinkMachine::Actions LinkMachine::networkGained(Clock::time_point now) {
  delay_ = firstDelay;
  if (status_.state == State::waiting && status_.retryAt > now + afterNetworkGain) {
    status_.retryAt = now + afterNetworkGain;
    return {.reports = true};
  }
  if (!isOpen() || askedAt_) return {};
  askedAt_ = now;
  return {.probes = true};
}

LinkMachine::Actions LinkMachine::reconnectNow(Clock::time_point now) {
  if (status_.state == State::connecting || status_.state == State::connected) return {};
  const bool wasOpen = isOpen();
  isByHand_ = true;
  delay_ = firstDelay;
  auto actions = attempt(now);
  actions.disconnects = wasOpen;
  return actions;
}

LinkMachine::Actions LinkMachine::cancel(Clock::time_point now) {
  if (status_.state == State::stopped) return {};
  auto actions = enter(State::stopped, now);
  actions.disconnects = true;
  status_.reason.reset();
  return actions;
}

Clock::time_point LinkMachine::askAt() const {
  if (askedAt_) return Clock::time_point::max();
  const auto bySilence = heardAt_ + askAfter;
  return sentAt_ ? std::min<Clock::time_point>(bySilence, *sentAt_ + askAfterSending) : bySilence;
}

Clock::time_point LinkMachine::giveUpAt() const {
  const auto bySilence =
      std::max<Clock::time_point>(heardAt_ + giveUpAfter, askedAt_.value_or(heardAt_) + stallAfter);
  return resumedAt_ ? std::min<Clock::time_point>(bySilence, *resumedAt_ + giveUpAfterSleep) : bySilence;
}

LinkMachine::Actions LinkMachine::tick(Clock::time_point now) {
  if (status_.state == State::waiting) return now >= status_.retryAt ? attempt(now) : Actions{};
  if (!isOpen()) return {};
  if (askedAt_ && now >= giveUpAt())
    return failed({ExitCode::unreachable, "the host does not answer any more",
                   "Check the network; the link is made again as soon as it can be."},
                  now);
  if (now >= askAt()) {
    askedAt_ = now;
    return {.probes = true};
  }
  if (status_.state == State::connected && askedAt_ && now >= *askedAt_ + stallAfter) {
    auto actions = enter(State::stalled, now);
    status_.since = heardAt_;
    return actions;
  }
  return {};
}

std::optional<Clock::time_point> LinkMachine::due() const {
  if (status_.state == State::waiting) return status_.retryAt;
  if (!isOpen()) return std::nullopt;
  if (!askedAt_) return askAt();
  const auto giveUp = giveUpAt();
  return status_.state == State::connected ? std::min<Clock::time_point>(*askedAt_ + stallAfter, giveUp)
                                           : giveUp;
}

}  // namespace quorl::viewer
