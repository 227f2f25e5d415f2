// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// How a process ended.
struct ProcessExit {
  /// The raw status of waitpid (POSIX), not decoded; 0 if it was reaped elsewhere.
  std::int32_t status = 0;
};

struct PseudoTerminalRequest {
  std::string command;           // run by the user's login shell: SHELL -l -c command
  std::string workingDirectory;  // absolute
  /// Added to the host's own environment; these take precedence.
  std::map<std::string, std::string> environment;
  std::uint16_t columns = 100;
  std::uint16_t rows = 40;
};

enum class PseudoTerminalStep : std::uint8_t { openTerminal, spawn };

struct PseudoTerminalError {
  PseudoTerminalStep step;
  PortError error;
};

/// A child and its terminal that have no owner for the moment, because the program replaces itself: the next
/// program image of this process adopts them.
struct ReleasedTerminal {
  std::int32_t pid = 0;
  std::string deviceName;
  std::int32_t handle = -1;  // the adapter's name for the terminal, valid in this process until adopted
  Bytes unwritten;           // input that the terminal has not taken yet

  bool operator==(const ReleasedTerminal&) const = default;
};

/// One child process that leads its own session on a pseudo-terminal (POSIX.1-2017, posix_openpt), which is
/// its controlling terminal. All its signals have their default action, and it inherits no descriptor of the
/// host.
///
/// *Queue*: callbacks run on the queue given to `start`; operations are called on it after `start`.
/// *Blocking*: none, destruction included.
/// *Ownership*: owns the child and the terminal; output buffers pass to the handler.
/// *Lifetime*: destruction closes the terminal and kills a live child (SIGKILL), which the adapter reaps
/// later. No callback runs after destruction. Input that the terminal has not taken is dropped.
class PseudoTerminal {
 public:
  struct Handlers {
    /// Output in order, 1 to 65536 bytes at a time, in a buffer that may be kept. Reading runs ahead of this
    /// by a few buffers at most, and collects fast output into larger ones.
    std::function<void(SharedBytes)> output;
    /// The child's side of the terminal was closed. The process may still run.
    std::function<void()> endOfOutput;
    /// The process was reaped. Called once, after the output that was written before.
    std::function<void(ProcessExit)> exited;
  };

  virtual ~PseudoTerminal() = default;

  virtual const std::string& deviceName() const = 0;
  virtual std::int32_t pid() const = 0;

  virtual void start(SerialQueue queue, Handlers handlers) = 0;

  /// Bytes that the terminal does not take at once are kept in order, up to 64 MiB; more are dropped.
  virtual void write(ByteView bytes) = 0;
  virtual void resize(std::uint16_t columns, std::uint16_t rows) = 0;
  /// Signals the child alone, and does nothing once it has been reaped.
  virtual void sendTerminate() = 0;
  virtual void sendKill() = 0;

  /// Gives the child and the terminal up without ending either. Nothing is read afterwards; output that was
  /// read before is already on the queue. Later operations do nothing, and neither does destruction. Nothing
  /// if the process was reaped; then `exited` is already on the queue.
  virtual std::optional<ReleasedTerminal> release() = 0;
};

/// Starts commands on pseudo-terminals.
///
/// *Queue*: any thread.
/// *Blocking*: `spawn` starts a process; callers use `Scheduler::blocking`.
/// *Ownership*: the terminal belongs to the caller.
/// *Lifetime*: terminals may outlive it.
class PseudoTerminals {
 public:
  virtual ~PseudoTerminals() = default;
  virtual std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) = 0;
  /// The counterpart of `PseudoTerminal::release`. What the child printed and whether it ended in the
  /// meantime is reported after `start`. On failure the terminal is closed, which ends most programs.
  virtual std::expected<std::unique_ptr<PseudoTerminal>, PortError> adopt(ReleasedTerminal released) = 0;
};

}  // namespace quorl
