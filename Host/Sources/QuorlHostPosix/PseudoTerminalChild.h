// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlHostPosix/PseudoTerminalPoller.h>
#include <QuorlHostPosix/PseudoTerminalSpawn.h>

namespace quorl {

/// One child and its terminal, between the session that uses them and the thread that watches them.
///
/// Output is gathered: after a burst the terminal is not read for a moment, so that a flood arrives in few
/// large pieces and causes few wake-ups, while single keystrokes pass at once.
///
/// *Queue*: any; guarded by a lock, which is held while one piece is read.
/// *Ownership*: shared by the port's object and, until the process is reaped, the watching thread.
class PseudoTerminalChild : public std::enable_shared_from_this<PseudoTerminalChild> {
 public:
  /// What the watching thread does next with the terminal.
  enum class Next : std::uint8_t {
    waitForEvent,    // armed, or ended
    readAgainSoon,   // a burst has just been read
    readAgainAtOnce  // there is more
  };

  PseudoTerminalChild(SpawnedTerminal spawned, Descriptor process, std::uint64_t token,
                      std::shared_ptr<PseudoTerminalPoller> poller, Bytes unwritten = {});

  const std::string& deviceName() const { return deviceName_; }
  pid_t pid() const { return pid_; }
  std::uint64_t token() const { return token_; }

  // For the session.
  void start(SerialQueue queue, PseudoTerminal::Handlers handlers);
  void write(ByteView bytes);
  void resize(std::uint16_t columns, std::uint16_t rows);
  void send(int signal);
  /// No callback begins after this; the child is killed, and reaped by the watching thread.
  void abandon();
  /// After it, nothing is read, written, signalled or waited for.
  std::optional<ReleasedTerminal> release();

  // For the watching thread; `scratch` is where it reads to.
  Next handleTerminalEvent(std::span<std::uint8_t> scratch);
  Next readPiece(std::span<std::uint8_t> scratch);
  /// After the process has ended: delivers its last output, then the end. False when it has not ended.
  bool reap(std::span<std::uint8_t> scratch);

 private:
  struct ReadResult {
    std::size_t size = 0;
    bool isDrained = false;
    bool isEnded = false;
  };

  ReadResult readInto(std::span<std::uint8_t> scratch);
  Next readPieceLocked(std::span<std::uint8_t> scratch);
  void deliver(ByteView bytes);
  bool isAbandoned();
  void outputWasTaken();
  void writeLocked(ByteView bytes);
  void writeUnwrittenLocked();
  bool hasUnwritten() const { return unwrittenFrom_ < unwritten_.size(); }
  std::size_t writeSomeLocked(ByteView bytes);
  void armLocked();
  void closeTerminalLocked();

  const std::string deviceName_;
  const pid_t pid_;
  const std::uint64_t token_;
  const std::shared_ptr<PseudoTerminalPoller> poller_;

  std::mutex mutex_;
  Descriptor master_;
  Descriptor process_;
  std::optional<SerialQueue> queue_;
  std::shared_ptr<PseudoTerminal::Handlers> handlers_;  // absent before the start and once abandoned
  Bytes unwritten_;
  std::size_t unwrittenFrom_ = 0;  // everything before it has been written
  int piecesInFlight_ = 0;         // given to the queue and not yet taken
  bool wantsRead_ = false;
  bool waitsForTaker_ = false;  // not read until a piece in flight has been taken
  bool hasEnded_ = false;
  bool isReaped_ = false;
  bool isReleased_ = false;
};

}  // namespace quorl
