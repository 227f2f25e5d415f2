// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HandshakeMachine.h>

#include <fmt/format.h>

#include <QuorlKit/WireProtocol.h>

namespace quorl {

namespace {

using handshakeAction::Authenticated;
using handshakeAction::Close;
using handshakeAction::CloseAfter;
using handshakeAction::LogEvent;
using handshakeAction::Send;

Send sendError(std::string code, std::string text) {
  return Send{message::Error{WireError{std::move(code), std::move(text)}}};
}

HandshakeMachine::Actions refuse(std::string code, std::string text) {
  return {sendError(std::move(code), std::move(text)), Close{}};
}

}  // namespace

bool HandshakeMachine::accepts(std::string_view caseKey) {
  return caseKey == message::Hello::key || caseKey == message::PairRequest::key ||
         caseKey == message::Bye::key;
}

HandshakeMachine::Actions HandshakeMachine::refusal() {
  return refuse("auth.required", "not authenticated");
}

HandshakeMachine::Actions HandshakeMachine::receive(const ControlMessage& message) {
  if (const auto* hello = std::get_if<message::Hello>(&message)) return receiveHello(hello->_0);
  if (const auto* request = std::get_if<message::PairRequest>(&message))
    return receivePairRequest(request->_0);
  if (std::holds_alternative<message::Bye>(message)) return {Close{}};
  return refusal();
}

HandshakeMachine::Actions HandshakeMachine::receiveHello(const Hello& hello) {
  Actions actions;
  // A stranger chooses the name: no more than fits into a log line.
  actions.push_back(LogEvent{fmt::format("hello: device={:.200} clientProto=v{} hostProto=v{} authProof={}",
                                         hello.device.name, hello.protocolVersion, WireProtocol::version,
                                         hello.authProof.has_value())});
  if (hello.protocolVersion != WireProtocol::version) {
    actions.push_back(
        LogEvent{fmt::format("REJECT: protocol mismatch (client v{} != host v{}) — client needs a rebuild",
                             hello.protocolVersion, WireProtocol::version)});
    actions.push_back(
        sendError("proto.version", fmt::format("host speaks protocol {}", WireProtocol::version)));
    actions.push_back(Close{});
    return actions;
  }
  clientDevice_ = hello.device;
  // A proof over no nonce proves nothing, so a first hello is never enough.
  if (state_ == AuthState::nonceSent && hello.authProof &&
      authority_.matchesAnyToken(*hello.authProof, nonce_)) {
    becomeAuthenticated(actions);
    return actions;
  }
  if (++attempts_ >= attemptLimit) {
    actions.push_back(sendError("auth.tooManyAttempts", "too many hello attempts"));
    actions.push_back(Close{});
    return actions;
  }
  nonce_ = authority_.freshNonce();
  state_ = AuthState::nonceSent;
  actions.push_back(LogEvent{"helloAck sent (authenticated:false) → client should show PIN entry"});
  actions.push_back(acknowledgement());
  return actions;
}

HandshakeMachine::Actions HandshakeMachine::receivePairRequest(const PairRequest& request) {
  if (state_ != AuthState::nonceSent) return refuse("auth.order", "hello first");
  switch (authority_.attemptPIN(request.pinProof, nonce_)) {
    case PairingVerdict::lockedOut:
      return {LogEvent{"REJECT: pairing locked out (too many failed PIN attempts across connections)"},
              sendError("auth.lockout", "too many failed PIN attempts; try again later"),
              CloseAfter{lockoutCloseDelay}};
    case PairingVerdict::wrong:
      return refusePIN();
    case PairingVerdict::right:
      return acceptPIN();
  }
  return {Close{}};
}

HandshakeMachine::Actions HandshakeMachine::refusePIN() {
  ++attempts_;
  Actions actions{Send{message::PairResponse{PairResponse{.success = false, .token = std::nullopt}}}};
  if (attempts_ >= attemptLimit) actions.push_back(Close{});
  return actions;
}

HandshakeMachine::Actions HandshakeMachine::acceptPIN() {
  const UUID deviceID = clientDevice_ ? clientDevice_->deviceID : authority_.freshDeviceID();
  const std::string name = clientDevice_ ? clientDevice_->name : "Unknown device";
  Actions actions{Send{
      message::PairResponse{PairResponse{.success = true, .token = authority_.addDevice(deviceID, name)}}}};
  becomeAuthenticated(actions);
  actions.push_back(LogEvent{fmt::format("paired + connected: {} ({})", name, endpoint_)});
  return actions;
}

void HandshakeMachine::becomeAuthenticated(Actions& actions) {
  state_ = AuthState::authenticated;
  actions.push_back(acknowledgement());
  actions.push_back(LogEvent{
      fmt::format("client authenticated: {} ({})", clientDevice_ ? clientDevice_->name : "?", endpoint_)});
  actions.push_back(Authenticated{});
}

HandshakeAction HandshakeMachine::acknowledgement() const {
  return Send{message::HelloAck{HelloAck{.protocolVersion = WireProtocol::version,
                                         .device = authority_.hostDevice(),
                                         .nonce = nonce_,
                                         .authenticated = state_ == AuthState::authenticated}}};
}

}  // namespace quorl
