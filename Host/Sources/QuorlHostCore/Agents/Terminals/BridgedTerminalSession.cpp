// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/BridgedTerminalSession.h>

#include <algorithm>
#include <utility>

#include <QuorlHostCore/Agents/Attention/AgentAttention.h>
#include <QuorlHostCore/Agents/Terminals/SnapshotDiff.h>
#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {

std::shared_ptr<BridgedTerminalSession> BridgedTerminalSession::create(
    Scheduler& scheduler, const ExternalAgent& external, std::string tty,
    std::shared_ptr<TerminalBridge> bridge, std::shared_ptr<ProcessTable> processes, std::uint64_t startTime,
    AgentStatus status) {
  return std::shared_ptr<BridgedTerminalSession>(new BridgedTerminalSession(
      scheduler, external, std::move(tty), std::move(bridge), std::move(processes), startTime, status));
}

BridgedTerminalSession::BridgedTerminalSession(Scheduler& scheduler, const ExternalAgent& external,
                                               std::string device, std::shared_ptr<TerminalBridge> bridge,
                                               std::shared_ptr<ProcessTable> processes,
                                               std::uint64_t startTime, AgentStatus status)
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
      process_{.pid = external.pid, .startTime = startTime},
      queue_(scheduler, "quorl.bridge.session", QueueRank::service),
      lastOutput_(scheduler.now()),
      // A process that still runs then was asked to end.
      terminated_(status == AgentStatus::exited && processes_->exists(process_)),
      lastOutputDate_(scheduler.date()),
      statusStorage_(status) {}

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

void BridgedTerminalSession::post(std::function<void(BridgedTerminalSession&)> work) {
  queue_.async([weak = weak_from_this(), work = std::move(work)] {
    if (const auto self = weak.lock()) work(*self);
  });
}

void BridgedTerminalSession::terminate() {
  post([](BridgedTerminalSession& self) {
    self.queue_.assertCurrent();
    self.beginTermination();
  });
}

void BridgedTerminalSession::beginTermination() {
  terminated_ = true;
  pollTimer_.cancel();
  if (pid < 1) return setProcessState(ProcessState::leftAlone);
  if (!isProcessAlive()) return;
  processes_->send(ProcessSignal::interrupt, process_);
  setStatus(AgentStatus::exited);
  if (terminationTimer_.isPending()) return;  // a second request does not delay the end
  terminationDeadline_ = queue_.now() + terminationDelay;
  terminationTimer_ =
      queue_.every(terminationCheckInterval, terminationCheckInterval, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->queue_.assertCurrent();
        self->watchTermination();
      });
}

void BridgedTerminalSession::watchTermination() {
  if (!isProcessAlive()) return terminationTimer_.cancel();
  if (queue_.now() < terminationDeadline_) return;
  terminationTimer_.cancel();
  processes_->send(ProcessSignal::terminate, process_);
  setProcessState(ProcessState::leftAlone);
}

void BridgedTerminalSession::release() {
  queue_.sync([this] {
    queue_.assertCurrent();
    if (!terminationTimer_.isPending()) return;
    terminationDeadline_ = queue_.now();
    watchTermination();
  });
}

void BridgedTerminalSession::checkProcess() {
  post([](BridgedTerminalSession& self) {
    self.queue_.assertCurrent();
    self.isProcessAlive();
  });
}

bool BridgedTerminalSession::isProcessAlive() {
  if (processState_ == ProcessState::gone) return false;
  if (pid < 1 || processes_->exists(process_)) return true;
  setStatus(AgentStatus::exited);
  setProcessState(ProcessState::gone);
  return false;
}

void BridgedTerminalSession::setProcessState(ProcessState state) {
  {
    const std::lock_guard lock(snapshotLock_);
    if (std::exchange(processState_, state) == state) return;
  }
  if (onProcessChange) onProcessChange(state);
}

void BridgedTerminalSession::typeText(std::string text, TextSubmission submission) {
  post([text = std::move(text), submission](BridgedTerminalSession& self) {
    self.queue_.assertCurrent();
    if (self.isProcessAlive()) self.bridge_->sendText(self.tty, self.terminal, text, submission);
  });
}

void BridgedTerminalSession::typeRaw(Bytes bytes) {
  post([bytes = std::move(bytes)](BridgedTerminalSession& self) {
    self.queue_.assertCurrent();
    if (self.isProcessAlive()) self.bridge_->sendRaw(self.tty, self.terminal, bytes);
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
  if (isProcessAlive()) setStatus(AgentStatus::running);
  if (onOutput) onOutput(bytes);
}

// As for a spawned session, but without bells, which are not part of a screen's text, and without an
// attention when the process ends, because it belongs to the user.
void BridgedTerminalSession::evaluateStatus() {
  if (terminated_) return;
  if (!isProcessAlive()) return;
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

BridgedTerminalSession::ProcessState BridgedTerminalSession::processState() const {
  const std::lock_guard lock(snapshotLock_);
  return processState_;
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
