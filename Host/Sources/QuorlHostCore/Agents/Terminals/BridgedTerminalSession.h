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

/// An agent in a terminal tab of the user, with the interface of a spawned session: a scrollback, a status,
/// output and attention. The tab's text is polled while a client watches. Between the last watcher and the
/// next, changes are not seen and the status does not change.
///
/// Once the process has ended, the status is `exited` for good, whatever the tab shows, and nothing more is
/// typed, because the tab then shows the user's shell.
///
/// *Queue*: "quorl.bridge.session"; operations may be called from any thread and post to it.
/// *Blocking*: reads take a lock that is never held while a terminal answers or a callback runs. The queue
/// waits for the terminal, as blocking work.
/// *Ownership*: the registry's; shares the bridge and the process table.
/// *Lifetime*: `terminate` is final. Timers hold it weakly. Destruction stops the polling and leaves the
/// process alone.
class BridgedTerminalSession : public std::enable_shared_from_this<BridgedTerminalSession> {
 public:
  /// `startTime`: of the agent's process, as in the process table. `status`: of a session that is continued.
  static std::shared_ptr<BridgedTerminalSession> create(Scheduler& scheduler, const ExternalAgent& external,
                                                        std::string tty,
                                                        std::shared_ptr<TerminalBridge> bridge,
                                                        std::shared_ptr<ProcessTable> processes,
                                                        std::uint64_t startTime = 0,
                                                        AgentStatus status = AgentStatus::running);

  enum class ProcessState : std::uint8_t {
    alive,
    gone,
    leftAlone  // asked to end for the last time, and still alive
  };

  static constexpr Duration pollInterval = std::chrono::milliseconds(600);
  static constexpr std::size_t scrollbackLimit = 262'144;
  /// The part of the screen that a new watcher is shown, in user-perceived characters.
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
  /// Asks the process to end, first like a Ctrl-C and three seconds later with SIGTERM. The status is
  /// `exited` at once. The user's process is never killed with SIGKILL.
  void terminate();
  void typeText(std::string text, TextSubmission submission);
  void typeRaw(Bytes bytes);
  /// Before another host takes over, which knows neither the text on its way nor that the process was asked
  /// to end: waits until the text is typed, and sends the SIGTERM that is due later. *Blocking*: as a call of
  /// the bridge.
  void release();
  /// Checks whether the process still exists, watched or not.
  void checkProcess();
  /// Runs `work` on the session's queue, after everything that was requested before. `work` may block.
  void afterPendingWork(std::function<void()> work) { queue_.async(std::move(work)); }

  /// Of the agent's process, as in the process table.
  std::uint64_t startTime() const { return process_.startTime; }
  AgentStatus status() const;
  ProcessState processState() const;
  Bytes scrollback() const;
  Date lastOutputDate() const;
  std::optional<std::string> previewLine() const;

 private:
  enum class PollKind : std::uint8_t { initial, repeated };

  BridgedTerminalSession(Scheduler& scheduler, const ExternalAgent& external, std::string tty,
                         std::shared_ptr<TerminalBridge> bridge, std::shared_ptr<ProcessTable> processes,
                         std::uint64_t startTime, AgentStatus status);
  /// Runs `work` on the queue, in order, if the session still exists.
  void post(std::function<void(BridgedTerminalSession&)> work);

  void beginTermination() QUORL_REQUIRES(queue_);
  void watchTermination() QUORL_REQUIRES(queue_);
  /// False if the process has ended, which it records.
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

  // Guarded by the lock. Written on the queue only, which may read them without it.
  mutable std::mutex snapshotLock_;
  Bytes scrollbackStorage_;
  Date lastOutputDate_;
  AgentStatus statusStorage_;
  ProcessState processState_ = ProcessState::alive;
};

}  // namespace quorl
