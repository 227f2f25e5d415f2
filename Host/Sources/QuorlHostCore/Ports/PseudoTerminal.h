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

/// How a process ended, as far as anybody can tell.
struct ProcessExit {
  /// The raw status of waitpid (POSIX), not decoded; 0 when somebody else took it.
  std::int32_t status = 0;
};

struct PseudoTerminalRequest {
  std::string command;           // run by the user's login shell: SHELL -l -c command
  std::string workingDirectory;  // absolute
  /// Added to the host's own environment, where these win.
  std::map<std::string, std::string> environment;
  std::uint16_t columns = 100;
  std::uint16_t rows = 40;
};

enum class PseudoTerminalStep : std::uint8_t { openTerminal, spawn };

struct PseudoTerminalError {
  PseudoTerminalStep step;
  PortError error;
};

/// One child process that leads a session of its own on a pseudo-terminal (POSIX.1-2017, posix_openpt), which
/// is its controlling terminal. All signals are at their defaults, and no descriptor of the host is open in
/// it.
///
/// *Queue*: callbacks run on the queue given to `start`; operations are called on it, once it is started.
/// *Lifetime*: destruction closes the terminal, kills a child that is still there (SIGKILL) and reaps it; no
/// callback runs after destruction.
class PseudoTerminal {
 public:
  struct Handlers {
    /// Output in order, 1 to 65536 bytes at a time, in a buffer of its own that may be kept. Reading runs
    /// ahead of this by a few such buffers at most, and gathers what comes quickly into larger ones.
    std::function<void(SharedBytes)> output;
    /// The other side of the terminal has closed; the process may live on.
    std::function<void()> endOfOutput;
    /// The process was reaped. Once; output that was already written comes before it.
    std::function<void(ProcessExit)> exited;
  };

  virtual ~PseudoTerminal() = default;

  virtual const std::string& deviceName() const = 0;
  virtual std::int32_t pid() const = 0;

  virtual void start(SerialQueue queue, Handlers handlers) = 0;

  /// Never blocks and waits for no output: bytes that the terminal does not take now are kept, in order, up
  /// to a bound of 64 MiB beyond which they are dropped.
  virtual void write(ByteView bytes) = 0;
  virtual void resize(std::uint16_t columns, std::uint16_t rows) = 0;
  /// Sends a POSIX signal to the child alone; nothing once it has been reaped.
  virtual void sendTerminate() = 0;
  virtual void sendKill() = 0;
};

class PseudoTerminals {
 public:
  virtual ~PseudoTerminals() = default;
  virtual std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) = 0;
};

}  // namespace quorl
