// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/BridgedTerminalSession.h>

#include <algorithm>
#include <utility>

#include <QuorlHostCore/Agents/AgentAttention.h>
#include <QuorlHostCore/Agents/SnapshotDiff.h>
#include <QuorlHostCore/Agents/TerminalText.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

std::shared_ptr<BridgedTerminalSession> BridgedTerminalSession::create(
    Scheduler& scheduler, const ExternalAgent& external, std::string tty,
    std::shared_ptr<TerminalBridge> bridge, std::shared_ptr<ProcessTable> processes) {
  return std::shared_ptr<BridgedTerminalSession>(new BridgedTerminalSession(
      scheduler, external, std::move(tty), std::move(bridge), std::move(processes)));
}

BridgedTerminalSession::BridgedTerminalSession(Scheduler& scheduler, const ExternalAgent& external,
                                               std::string device, std::shared_ptr<TerminalBridge> bridge,
                                               std::shared_ptr<ProcessTable> processes)
    : id(external.id),
      displayName(external.name),
      command(external.command),
      pid(external.pid),
      tty(std::move(device)),
      terminal(external.terminal),
      cwd(external.cwd),
      adapter_(inferAgentAdapter(external.command, AgentKind::pty)),
      bridge_(std::move(bridge)),
      processes_(std::move(processes)),
      queue_(scheduler, "quorl.bridge.session", QueueRank::service),
      lastOutput_(scheduler.now()),
      lastOutputDate_(scheduler.date()) {}

void BridgedTerminalSession::addSubscriber() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    ++self->subscriberCount_;
    if (!self->pollTimer_.isPending() && !self->terminated_) self->startPolling();
  });
}

void BridgedTerminalSession::removeSubscriber() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->subscriberCount_ = std::max(0, self->subscriberCount_ - 1);
    if (self->subscriberCount_ == 0) self->pollTimer_.cancel();
  });
}

void BridgedTerminalSession::terminate() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->terminated_ = true;
    self->pollTimer_.cancel();
    if (self->pid < 1) return;
    self->processes_->send(ProcessSignal::interrupt, self->pid);
    self->terminationTimer_ = self->queue_.after(terminationDelay, [weak = self->weak_from_this()] {
      const auto session = weak.lock();
      if (session && session->processes_->exists(session->pid))
        session->processes_->send(ProcessSignal::terminate, session->pid);
    });
    self->setStatus(AgentStatus::exited);
  });
}

void BridgedTerminalSession::startPolling() {
  poll(PollKind::initial);
  pollTimer_ = queue_.every(pollInterval, pollInterval, [weak = weak_from_this()] {
    const auto session = weak.lock();
    if (!session) return;
    session->queue_.assertCurrent();
    session->poll(PollKind::repeated);
  });
}

void BridgedTerminalSession::poll(PollKind kind) {
  if (terminated_) return;
  std::optional<std::string> snapshot = bridge_->readContents(tty, terminal);
  if (!snapshot) return;
  const std::string previous = std::exchange(lastSnapshot_, std::move(*snapshot));
  if (kind == PollKind::initial) {
    showWhole(lastSnapshot_);
  } else if (const std::string_view tail = SnapshotDiff::newTail(previous, lastSnapshot_); !tail.empty()) {
    append(tail);
  }
  evaluateStatus();
}

void BridgedTerminalSession::showWhole(std::string_view snapshot) {
  const Bytes bytes = bytesOf(SnapshotDiff::normalised(lastCharacters(snapshot, initialLength)));
  bool wasEmpty = false;
  {
    const std::lock_guard lock(snapshotLock_);
    wasEmpty = scrollbackStorage_.empty();
    scrollbackStorage_ = bytes;
    lastOutputDate_ = queue_.scheduler().date();
  }
  lastOutput_ = queue_.now();
  if (wasEmpty && !bytes.empty() && onOutput) onOutput(bytes);
}

void BridgedTerminalSession::append(std::string_view tail) {
  const Bytes bytes = bytesOf(SnapshotDiff::normalised(tail) + "\r\n");
  {
    const std::lock_guard lock(snapshotLock_);
    scrollbackStorage_.insert(scrollbackStorage_.end(), bytes.begin(), bytes.end());
    if (scrollbackStorage_.size() > scrollbackLimit)
      scrollbackStorage_.erase(scrollbackStorage_.begin(), scrollbackStorage_.end() - scrollbackLimit);
    lastOutputDate_ = queue_.scheduler().date();
  }
  lastOutput_ = queue_.now();
  setStatus(AgentStatus::running);
  if (onOutput) onOutput(bytes);
}

// As for a session of the host's own, but without bells, which a screen's text does not hold, and without an
// attention for the end of a process that belongs to the user.
void BridgedTerminalSession::evaluateStatus() {
  if (terminated_) return;
  if (pid >= 1 && !processes_->exists(pid)) return setStatus(AgentStatus::exited);
  const MonotonicTime now = queue_.now();
  if (now - lastOutput_ < AgentAttention::silenceBeforeWaiting) return setStatus(AgentStatus::running);

  const AgentAttention::Finding finding = AgentAttention::examine(scrollbackStorage_, adapter_);
  setStatus(finding.asks ? AgentStatus::waitingInput : AgentStatus::idle);
  if (!finding.asks) return;
  if (lastAttention_ && now - *lastAttention_ < AgentAttention::attentionInterval) return;
  lastAttention_ = now;
  if (onAttention) onAttention(displayName, finding.body);
}

void BridgedTerminalSession::setStatus(AgentStatus status) {
  {
    const std::lock_guard lock(snapshotLock_);
    if (std::exchange(statusStorage_, status) == status) return;
  }
  if (onStatusChange) onStatusChange(status);
}

AgentStatus BridgedTerminalSession::status() const {
  const std::lock_guard lock(snapshotLock_);
  return statusStorage_;
}

Bytes BridgedTerminalSession::scrollback() const {
  const std::lock_guard lock(snapshotLock_);
  return scrollbackStorage_;
}

Date BridgedTerminalSession::lastOutputDate() const {
  const std::lock_guard lock(snapshotLock_);
  return lastOutputDate_;
}

std::optional<std::string> BridgedTerminalSession::previewLine() const {
  const std::lock_guard lock(snapshotLock_);
  return terminalPreviewLine(scrollbackStorage_);
}

}  // namespace quorl
