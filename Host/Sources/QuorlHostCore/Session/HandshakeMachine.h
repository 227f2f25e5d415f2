// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

enum class AuthState : std::uint8_t { awaitingHello, nonceSent, authenticated };

/// The host's answers that the handshake needs.
///
/// *Queue*: the connection's.
/// *Blocking*: calls may wait for the stores and for the disk.
class HandshakeAuthority {
 public:
  virtual ~HandshakeAuthority() = default;
  virtual DeviceInfo hostDevice() = 0;
  virtual Bytes freshNonce() = 0;
  virtual UUID freshDeviceID() = 0;
  virtual bool matchesAnyToken(ByteView proof, ByteView nonce) = 0;
  /// Checks and records in one step.
  virtual PairingVerdict attemptPIN(ByteView proof, ByteView nonce) = 0;
  virtual Bytes addDevice(const UUID& deviceID, const std::string& name) = 0;
};

namespace handshakeAction {

struct Send {
  ControlMessage message;
};
/// An event line of the category `auth`.
struct LogEvent {
  std::string text;
};
/// Call the owner and push the initial state.
struct Authenticated {};
struct Close {};
/// Close later, so that what was sent before arrives.
struct CloseAfter {
  std::chrono::milliseconds delay;
};

}  // namespace handshakeAction

using HandshakeAction =
    std::variant<handshakeAction::Send, handshakeAction::LogEvent, handshakeAction::Authenticated,
                 handshakeAction::Close, handshakeAction::CloseAfter>;

/// The exchange from a client's first message until it is authenticated: a message in, actions out, which the
/// connection carries out in order. It sends nothing and has no clock.
///
/// *Queue*: its connection's.
/// *Blocking*: only where the authority waits.
/// *Ownership*: its connection's. The authority is borrowed and outlives it.
class HandshakeMachine {
 public:
  static constexpr int attemptLimit = 5;
  static constexpr std::chrono::milliseconds lockoutCloseDelay{200};

  using Actions = std::vector<HandshakeAction>;

  /// `endpoint`: the peer, for log lines.
  HandshakeMachine(HandshakeAuthority& authority, std::string endpoint)
      : authority_(authority), endpoint_(std::move(endpoint)) {}

  /// Whether a message of this case is not refused.
  static bool accepts(std::string_view caseKey);
  /// The answer to every other message.
  static Actions refusal();

  /// Not to be called once authenticated.
  Actions receive(const ControlMessage& message);

  AuthState state() const { return state_; }
  int attempts() const { return attempts_; }
  const Bytes& nonce() const { return nonce_; }
  const std::optional<DeviceInfo>& clientDevice() const { return clientDevice_; }

 private:
  Actions receiveHello(const Hello& hello);
  Actions receivePairRequest(const PairRequest& request);
  Actions refusePIN();
  Actions acceptPIN();
  void becomeAuthenticated(Actions& actions);
  HandshakeAction acknowledgement() const;

  HandshakeAuthority& authority_;
  const std::string endpoint_;
  AuthState state_ = AuthState::awaitingHello;
  Bytes nonce_;
  std::optional<DeviceInfo> clientDevice_;
  int attempts_ = 0;  // hellos without a valid proof, plus wrong PINs
};

}  // namespace quorl
