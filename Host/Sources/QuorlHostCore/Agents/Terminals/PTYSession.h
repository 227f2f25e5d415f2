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
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// One command that the host started in a pseudo-terminal of its own: its scrollback, its status, and what it
/// wants of a human.
///
/// *Queue*: "quorl.pty", one a session. Operations may be called from any thread and return at once; reads
/// wait for the queue. Callbacks run on it and must not wait for anybody who may wait for it.
/// *Ownership*: the registry's. The session owns its child process.
/// *Lifetime*: destruction kills and reaps the child. The scrollback stays readable after an exit.
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
  /// What a terminal that joins now must be shown.
  struct Screen {
    ByteView scrollback;  // valid during the call that it is given to
    bool isAlternate = false;
    /// What puts a terminal into the modes of now on the alternate screen, else into those in which the
    /// scrollback begins.
    Bytes modes;
  };

  /// Starts the command; nothing is read from it until `startMonitoring`. The codes are "agent.pty" and
  /// "agent.spawn".
  static std::expected<std::shared_ptr<PTYSession>, WireError> spawn(Parameters parameters,
                                                                     Scheduler& scheduler,
                                                                     PseudoTerminals& terminals,
                                                                     const std::string& homeDirectory);

  /// Empty, "~" and a leading "~/" stand for the home directory; "~other" is no such thing.
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
  /// Values outside 0 to 65535 are clamped. A full-screen program is asked to repaint shortly after.
  void resize(std::int64_t columns, std::int64_t rows);
  /// SIGTERM to the child now, SIGKILL 3 seconds later if it is still there.
  void terminate();

  AgentStatus status() const;
  Summary summary() const;
  Date lastActivity() const;
  Bytes scrollback() const;
  bool isAlternateScreen() const;

  /// Runs `look` on the queue, between two pieces of output, and waits for it.
  void withScreen(const std::function<void(const Screen&)>& look) const;
  /// The same for somebody who is on the queue already.
  Screen screen() const;
  /// Writes the one byte on which a full-screen program repaints (form feed). On the queue.
  void askForRepaint();

  PTYSession(Parameters parameters, Scheduler& scheduler, std::unique_ptr<PseudoTerminal> terminal);

 private:
  void receive(const SharedBytes& output) QUORL_REQUIRES(queue_);
  void finish(ProcessExit exit) QUORL_REQUIRES(queue_);
  void evaluateStatus() QUORL_REQUIRES(queue_);
  void carryOut(const AgentStatusMachine::Actions& actions) QUORL_REQUIRES(queue_);
  void armStatusTimer() QUORL_REQUIRES(queue_);
  /// `work` on the queue, now and later only if the session still exists.
  std::function<void()> weakly(std::function<void(PTYSession&)> work);

  const Parameters parameters_;
  const SerialQueue queue_;
  const std::unique_ptr<PseudoTerminal> terminal_;
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
  std::vector<Timer> repaintTimers_ QUORL_GUARDED_BY(queue_);  // one a resize, all within a moment
};

}  // namespace quorl
