// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Attention/AgentStatusMachine.h>

#include <algorithm>
#include <cstring>

#include <QuorlHostCore/Agents/Attention/AgentAttention.h>

namespace quorl {

namespace {

constexpr Duration tickInterval = std::chrono::seconds(1);
constexpr int bell = 0x07;

}  // namespace

AgentStatusMachine::AgentStatusMachine(AgentAdapter adapter, MonotonicTime created)
    : adapter_(adapter), created_(created), lastOutput_(created), lastTick_(created) {}

AgentStatusMachine::AgentStatusMachine(AgentAdapter adapter, const Snapshot& snapshot, MonotonicTime now)
    : adapter_(adapter),
      created_(now - snapshot.sinceCreation),
      lastOutput_(now - snapshot.sinceOutput),
      lastTick_(now - snapshot.sinceTick),
      sawBell_(snapshot.sawBell),
      bellWasConsumed_(snapshot.bellWasConsumed),
      status_(snapshot.status) {
  if (snapshot.sinceAttention) lastAttention_ = now - *snapshot.sinceAttention;
}

AgentStatusMachine::Snapshot AgentStatusMachine::snapshot(MonotonicTime now) const {
  Snapshot snapshot{.status = status_,
                    .sinceCreation = now - created_,
                    .sinceOutput = now - lastOutput_,
                    .sinceTick = now - lastTick_,
                    .sinceAttention = {},
                    .sawBell = sawBell_,
                    .bellWasConsumed = bellWasConsumed_};
  if (lastAttention_) snapshot.sinceAttention = now - *lastAttention_;
  return snapshot;
}

AgentStatusMachine::Actions AgentStatusMachine::changeTo(AgentStatus status) {
  if (status_ == status) return {};
  status_ = status;
  return {.statusChange = status, .attentionBody = std::nullopt};
}

AgentStatusMachine::Actions AgentStatusMachine::receiveOutput(ByteView output, MonotonicTime now) {
  if (status_ == AgentStatus::exited) return {};
  lastOutput_ = now;
  if (!output.empty() && std::memchr(output.data(), bell, output.size()) != nullptr) sawBell_ = true;
  return changeTo(AgentStatus::running);
}

AgentStatusMachine::Actions AgentStatusMachine::tick(ByteView screenTail, MonotonicTime now) {
  if (status_ == AgentStatus::exited) return {};
  lastTick_ = now;
  bellWasConsumed_ = false;
  if (now - lastOutput_ < AgentAttention::silenceBeforeWaiting) return changeTo(AgentStatus::running);

  AgentAttention::Finding finding = AgentAttention::examine(screenTail, adapter_);
  const bool waits = sawBell_ || finding.asks;
  Actions actions = changeTo(waits ? AgentStatus::waitingInput : AgentStatus::idle);
  const bool isDue = !lastAttention_ || now - *lastAttention_ >= AgentAttention::attentionInterval;
  if (waits && isDue) {
    lastAttention_ = now;
    bellWasConsumed_ = sawBell_;
    sawBell_ = false;
    actions.attentionBody = std::move(finding.body);
  }
  return actions;
}

AgentStatusMachine::Actions AgentStatusMachine::exit() {
  Actions actions = changeTo(AgentStatus::exited);
  if (actions.statusChange) actions.attentionBody = "finished";
  return actions;
}

std::optional<MonotonicTime> AgentStatusMachine::nextTick() const {
  switch (status_) {
    case AgentStatus::running:
      return firstTickFrom(lastOutput_ + AgentAttention::silenceBeforeWaiting);
    case AgentStatus::waitingInput:
      if (bellWasConsumed_ || !lastAttention_) return firstTickFrom(lastTick_);
      return firstTickFrom(*lastAttention_ + AgentAttention::attentionInterval);
    case AgentStatus::idle:
    case AgentStatus::exited:
    case AgentStatus::error:
      return std::nullopt;
  }
  return std::nullopt;
}

// The first instant on the grid of ticks that is not before `earliest` and has not passed.
MonotonicTime AgentStatusMachine::firstTickFrom(MonotonicTime earliest) const {
  const Duration sinceCreation = std::max(earliest - created_, Duration::zero());
  const auto count = (sinceCreation + tickInterval - Duration(1)) / tickInterval;
  const auto done = (lastTick_ - created_) / tickInterval;
  return created_ + std::max(count, done + 1) * tickInterval;
}

}  // namespace quorl
