// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <optional>
#include <variant>

#include <QuorlKit/Models/Models.h>

#include <quorl-client/Session/Session.h>

namespace quorl::client {

/// One packet of AAC.
struct SoundPacket {
  std::uint64_t ptsMicros = 0;  // counts the host's encoded samples since the last configuration
  Bytes data;
  Clock::time_point arrival;
};

/// A configuration comes before the packets that it describes, and starts a new count of time stamps.
using SoundEvent = std::variant<AudioConfig, SoundPacket>;

/// The sound of a session's host.
///
/// *Queue*: the session's thread. *Ownership*: the command's. *Lifetime*: shorter than the session.
class SoundReceiver {
 public:
  explicit SoundReceiver(Session& session) : session_(session) {}

  Outcome<void> subscribe();
  Outcome<void> unsubscribe();

  /// For a session with further receivers: handles packets and configurations of sound, ignores the rest.
  void take(const Frame& frame);
  void take(const ControlMessage& message);
  /// The next event that has arrived.
  std::optional<SoundEvent> next();

  /// For a session with no other receiver: waits for the next event; nothing at the deadline.
  Outcome<std::optional<SoundEvent>> next(Deadline deadline);

 private:
  Session& session_;
  std::deque<SoundEvent> events_;
  bool isConfigured_ = false;
};

}  // namespace quorl::client
