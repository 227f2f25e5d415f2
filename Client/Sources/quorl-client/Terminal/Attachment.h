// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlKit/Models/AgentModels.h>

#include <quorl-client/Session/LinkWatch.h>
#include <quorl-client/Session/ReconnectBackoff.h>
#include <quorl-client/Session/Session.h>
#include <quorl-client/Terminal/AttachmentOutput.h>
#include <quorl-client/Terminal/DetachKey.h>
#include <quorl-client/Terminal/RawTerminal.h>
#include <quorl-client/Terminal/ResizePacer.h>

namespace quorl::client {

/// Connects a person's terminal to an agent's: keys go to the agent, its output comes here.
///
/// A break of the connection does not end it. A notice is shown, and when the host answers again the output
/// continues where it stopped. Keys typed meanwhile are kept. Keys that the broken connection took whole are
/// not sent again, because they may have arrived: nothing is sent twice.
///
/// *Queue*: one thread. *Ownership*: borrows the terminal and the waiter. *Lifetime*: one `run`.
class Attachment {
 public:
  /// Opens a new session, at most until the deadline.
  using Opener = std::function<Outcome<std::unique_ptr<Session>>(Deadline)>;
  enum class End : std::uint8_t {
    detached,  // by the key
    ended,     // the agent has ended
    lost       // the host no longer has the agent
  };

  Attachment(AgentDescriptor agent, DetachKey key, RawTerminal& terminal, Waiter& waiter, Opener reopen);

  /// Restores the terminal's modes before it returns, in every case.
  Outcome<End> run(std::unique_ptr<Session> session);

 private:
  Outcome<End> runConnected();
  Outcome<void> begin();
  Outcome<void> takeFrames();
  Outcome<void> take(const Frame& frame);
  void take(const ControlMessage& message);
  void note(const AgentDescriptor& row);

  Outcome<void> askForRepaint();
  Outcome<void> readKeys();
  Outcome<void> handleSignals();
  Outcome<void> sendWhatIsDue();
  Outcome<void> sendKeys();
  Deadline nextDeadline() const;

  Outcome<std::optional<End>> reconnect(const ClientError& reason);
  Outcome<void> leaveIfDue();
  Outcome<void> waitForRetry();
  void showNotice(std::string_view text);

  // The last output of an agent arrives before the report of its end, unless this terminal was slow.
  static constexpr auto lastWords = std::chrono::milliseconds(100);

  const AgentDescriptor agent_;
  RawTerminal& terminal_;
  Waiter& waiter_;
  const Opener reopen_;
  std::unique_ptr<Session> session_;

  KeyFilter keys_;
  const std::string detachName_;
  std::deque<Bytes> typed_;  // not yet passed to a connection
  std::size_t typedBytes_ = 0;
  Bytes inFlight_;  // passed to the connection, not yet taken whole by the socket
  bool hasDetached_ = false;
  Deadline detachedAt_{};

  ResizePacer resizes_;
  ReconnectBackoff backoff_;
  LinkWatch link_{Clock::now()};
  AttachmentOutput output_;

  bool isListNext_ = false;  // the next agent list ends the replay of this subscription
  std::optional<End> end_;
  Deadline quietUntil_{};  // when the last output of an ended agent has arrived
  Deadline endDeadline_{};
};

}  // namespace quorl::client
