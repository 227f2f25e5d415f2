// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/ProcessTable.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// An agent in a terminal tab of the user's, in the shape of a session of the host's own: a scrollback, a
/// status, output and attention. The tab's text is polled, and only while somebody watches; between the last
/// watcher and the next what happens goes unseen and the status stands still.
///
/// *Queue*: "quorl.bridge.session", which blocks while a terminal answers. The reads need no queue: a lock
/// that is never held across a terminal's answer or a callback guards what they show.
/// *Ownership*: shares the bridge and the process table. The timers hold the session weakly.
/// Once the process has ended, the status is `exited` for good, whatever the tab shows later, and nothing
/// more is typed: what is left there is the user's shell.
///
/// *Lifetime*: `terminate` is final. Dropping the session stops the polling and leaves the process alone.
class BridgedTerminalSession : public std::enable_shared_from_this<BridgedTerminalSession> {
 public:
  /// `startTime`: of the agent's process, as the process table has it.
  static std::shared_ptr<BridgedTerminalSession> create(Scheduler& scheduler, const ExternalAgent& external,
                                                        std::string tty,
                                                        std::shared_ptr<TerminalBridge> bridge,
                                                        std::shared_ptr<ProcessTable> processes,
                                                        std::uint64_t startTime = 0);

  enum class ProcessState : std::uint8_t {
    alive,
    gone,
    leftAlone  // asked to end as often as it ever will be
  };

  static constexpr Duration pollInterval = std::chrono::milliseconds(600);
  static constexpr std::size_t scrollbackLimit = 262'144;
  /// How much of the screen a watcher who comes is shown, in user-perceived characters.
  static constexpr std::size_t initialLength = 8192;
  static constexpr Duration terminationDelay = std::chrono::seconds(3);
  static constexpr Duration terminationCheckInterval = std::chrono::milliseconds(100);

  const UUID id;
  const std::string displayName;
  const std::string command;
  const std::int32_t pid;
  const std::string tty;
  const TerminalKind terminal;
  const std::optional<std::string> cwd;

  /// Called on the session's queue. Set before the first `addSubscriber`.
  std::function<void(ByteView)> onOutput;
  std::function<void(AgentStatus)> onStatusChange;
  std::function<void(const std::string& title, const std::string& body)> onAttention;
  std::function<void(ProcessState)> onProcessChange;

  // Posted.
  void addSubscriber();
  void removeSubscriber();
  /// Asks the process to end, first as a Ctrl-C would and three seconds later with SIGTERM. The status is
  /// `exited` at once; the user's process is never killed.
  void terminate();
  void typeText(std::string text, TextSubmission submission);
  void typeRaw(Bytes bytes);
  /// Looks whether the process is still there, watched or not.
  void checkProcess();
  /// Runs `work` on the session's queue after all that was asked of it before; `work` may block there.
  void afterPendingWork(std::function<void()> work) { queue_.async(std::move(work)); }

  AgentStatus status() const;
  ProcessState processState() const;
  Bytes scrollback() const;
  Date lastOutputDate() const;
  std::optional<std::string> previewLine() const;

 private:
  enum class PollKind : std::uint8_t { initial, repeated };

  BridgedTerminalSession(Scheduler& scheduler, const ExternalAgent& external, std::string tty,
                         std::shared_ptr<TerminalBridge> bridge, std::shared_ptr<ProcessTable> processes,
                         std::uint64_t startTime);
  /// `work` on the queue, in order, and only if the session still exists.
  void post(std::function<void(BridgedTerminalSession&)> work);

  void beginTermination() QUORL_REQUIRES(queue_);
  void watchTermination() QUORL_REQUIRES(queue_);
  /// False once the process has gone, which it then takes note of.
  bool isProcessAlive() QUORL_REQUIRES(queue_);
  void setProcessState(ProcessState state) QUORL_REQUIRES(queue_);
  void startPolling() QUORL_REQUIRES(queue_);
  void poll(PollKind kind) QUORL_REQUIRES(queue_);
  void showWhole(std::string_view snapshot) QUORL_REQUIRES(queue_);
  void append(std::string_view tail) QUORL_REQUIRES(queue_);
  void evaluateStatus() QUORL_REQUIRES(queue_);
  void setStatus(AgentStatus status) QUORL_REQUIRES(queue_);

  const AgentAdapter adapter_;
  const std::shared_ptr<TerminalBridge> bridge_;
  const std::shared_ptr<ProcessTable> processes_;
  const ProcessIdentity process_;
  const SerialQueue queue_;

  Timer pollTimer_ QUORL_GUARDED_BY(queue_);
  Timer terminationTimer_ QUORL_GUARDED_BY(queue_);
  MonotonicTime terminationDeadline_ QUORL_GUARDED_BY(queue_);
  int subscriberCount_ QUORL_GUARDED_BY(queue_) = 0;
  std::string lastSnapshot_ QUORL_GUARDED_BY(queue_);
  MonotonicTime lastOutput_ QUORL_GUARDED_BY(queue_);
  std::optional<MonotonicTime> lastAttention_ QUORL_GUARDED_BY(queue_);
  bool terminated_ QUORL_GUARDED_BY(queue_) = false;

  // Guarded by the lock; written on the queue alone, which may therefore read without it.
  mutable std::mutex snapshotLock_;
  Bytes scrollbackStorage_;
  Date lastOutputDate_;
  AgentStatus statusStorage_ = AgentStatus::running;
  ProcessState processState_ = ProcessState::alive;
};

}  // namespace quorl
