// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Agents/Attention/AgentStatusMachine.h>
#include <QuorlHostCore/Agents/Terminals/PTYSessionSnapshot.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// One command that the host started in its own pseudo-terminal: its scrollback, its status, and its
/// attentions.
///
/// *Queue*: "quorl.pty", one per session. Operations may be called from any thread; callbacks run on the
/// queue.
/// *Blocking*: reads wait for the queue. Callbacks must not wait for anything that may wait for the queue.
/// *Ownership*: the registry's. The session owns its child process.
/// *Lifetime*: destruction kills the child. The scrollback stays readable after an exit.
class PTYSession : public std::enable_shared_from_this<PTYSession> {
 public:
  struct Parameters {
    UUID id;
    std::string displayName;
    std::string command;
    std::string workingDirectory;  // may begin with a tilde
    std::map<std::string, std::string> env;
    AgentAdapter adapter = AgentAdapter::generic;
  };
  struct Callbacks {
    std::function<void(const SharedBytes&)> onOutput;
    std::function<void(AgentStatus)> onStatusChange;
    std::function<void(const std::string& title, const std::string& body)> onAttention;
  };
  struct Summary {
    AgentStatus status = AgentStatus::running;
    Date lastActivity;
    std::optional<std::string> previewLine;
  };
  /// What a terminal that joins now must show.
  struct Screen {
    ByteView scrollback;  // valid until the next output
    bool isAlternate = false;
    /// The sequences that set a terminal's modes: the current ones on the alternate screen, else those at the
    /// start of the scrollback.
    Bytes modes;
  };

  /// Starts the command, as blocking work. Nothing is read from it before `startMonitoring`. The error codes
  /// are "agent.pty" and "agent.spawn".
  static std::expected<std::shared_ptr<PTYSession>, WireError> spawn(Parameters parameters,
                                                                     Scheduler& scheduler,
                                                                     PseudoTerminals& terminals,
                                                                     const std::string& homeDirectory);

  /// Continues a session of another program image. If its process cannot be taken over, the session counts as
  /// exited.
  static std::shared_ptr<PTYSession> restore(PTYSessionSnapshot snapshot, Scheduler& scheduler,
                                             PseudoTerminals& terminals);

  /// Replaces an empty path, "~" and a leading "~/" by the home directory. "~other" is not expanded.
  static std::string expandTilde(const std::string& path, const std::string& homeDirectory);

  void startMonitoring(Callbacks callbacks);

  const UUID& id() const { return parameters_.id; }
  const std::string& displayName() const { return parameters_.displayName; }
  const std::string& command() const { return parameters_.command; }
  const std::string& workingDirectory() const { return parameters_.workingDirectory; }
  const std::string& ttyName() const { return ttyName_; }
  std::int32_t pid() const { return pid_; }
  const SerialQueue& queue() const { return queue_; }

  void write(Bytes data);
  /// Values outside 0 to 65535 are clamped. A full-screen program is asked to repaint shortly afterwards.
  void resize(std::int64_t columns, std::int64_t rows);
  /// Gives the process and the terminal up. Everything requested before has been done to them, and all output
  /// that was read is in the snapshot. The session does nothing afterwards. Waits for the queue.
  PTYSessionSnapshot release();
  /// Sends SIGTERM to the child, and SIGKILL 3 seconds later if it still runs.
  void terminate();

  AgentStatus status() const;
  Summary summary() const;
  Date lastActivity() const;
  Bytes scrollback() const;
  bool isAlternateScreen() const;

  /// On the queue.
  Screen screen() const;
  /// Writes a form feed, on which a full-screen program repaints. On the queue.
  void askForRepaint();

  PTYSession(Parameters parameters, Scheduler& scheduler, std::unique_ptr<PseudoTerminal> terminal);
  /// `terminal`: absent if the process has ended.
  PTYSession(PTYSessionSnapshot snapshot, Scheduler& scheduler, std::unique_ptr<PseudoTerminal> terminal);

 private:
  PTYSessionSnapshot snapshot() const QUORL_REQUIRES(queue_);
  void killAfter(Duration delay) QUORL_REQUIRES(queue_);
  void receive(const SharedBytes& output) QUORL_REQUIRES(queue_);
  void finish(ProcessExit exit) QUORL_REQUIRES(queue_);
  void evaluateStatus() QUORL_REQUIRES(queue_);
  void carryOut(const AgentStatusMachine::Actions& actions) QUORL_REQUIRES(queue_);
  void armStatusTimer() QUORL_REQUIRES(queue_);
  /// `work` for the queue; it does nothing once the session was destroyed.
  std::function<void()> weakly(std::function<void(PTYSession&)> work);

  const Parameters parameters_;
  const SerialQueue queue_;
  const std::unique_ptr<PseudoTerminal> terminal_;  // absent in a restored session that has ended
  const std::string ttyName_;
  const std::int32_t pid_;

  Callbacks callbacks_ QUORL_GUARDED_BY(queue_);
  Scrollback scrollback_ QUORL_GUARDED_BY(queue_);
  AlternateScreenScanner alternateScreen_ QUORL_GUARDED_BY(queue_);
  TerminalModes modes_ QUORL_GUARDED_BY(queue_);
  AgentStatusMachine machine_ QUORL_GUARDED_BY(queue_);
  Date lastOutputDate_ QUORL_GUARDED_BY(queue_);
  std::optional<std::int32_t> exitCode_ QUORL_GUARDED_BY(queue_);
  std::optional<MonotonicTime> armedTick_ QUORL_GUARDED_BY(queue_);
  Timer statusTimer_ QUORL_GUARDED_BY(queue_);
  Timer killTimer_ QUORL_GUARDED_BY(queue_);
  MonotonicTime killTime_ QUORL_GUARDED_BY(queue_);  // while the timer is pending
  std::optional<Duration> killDelay_
      QUORL_GUARDED_BY(queue_);                                // of a restored session, until it is monitored
  std::vector<Timer> repaintTimers_ QUORL_GUARDED_BY(queue_);  // one per recent resize
};

}  // namespace quorl
