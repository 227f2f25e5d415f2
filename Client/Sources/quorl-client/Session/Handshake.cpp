// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/Handshake.h>

#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/WireProtocol.h>
#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

constexpr std::size_t longestToken = 1'024;

ClientError refusal(const WireError& error) {
  std::string advice;
  if (error.code == "proto.version")
    advice =
        fmt::format("This client speaks version {}; update the older of the two.", WireProtocol::version);
  else if (error.code == "auth.lockout")
    advice = "Wait a few minutes, then pair with the PIN that the host shows now.";
  else if (error.code == "auth.tooManyAttempts")
    advice = "Try again with a new connection.";
  else if (error.code.starts_with("auth."))
    advice = "Pair with 'quorl_client pair HOST'.";
  return {ExitCode::refused,
          fmt::format("the host refused: {} ({})", printable(error.message), printable(error.code)), advice};
}

// The end of the session during the handshake is a refusal if the host gave a reason.
ClientError asRefusal(const Session& session, ClientError error) {
  const bool endedByHost = error.code == ExitCode::failure && session.lastHostError();
  return endedByHost ? refusal(*session.lastHostError()) : error;
}

template <class Case>
Outcome<Case> await(Session& session, Deadline deadline) {
  for (;;) {
    auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(asRefusal(session, received.error()));
    if (!*received)
      return failed(ExitCode::timedOut,
                    fmt::format("{} accepted the connection but does not answer", session.address().text()),
                    "Check that the port is Quorl Host's session port; restart the host if it is.");
    if (auto* wanted = std::get_if<Case>(&**received)) return std::move(*wanted);
    if (const auto* error = std::get_if<message::Error>(&**received))
      return std::unexpected(refusal(error->_0));
    if (std::holds_alternative<message::Bye>(**received))
      return failed(ExitCode::failure, "the host ended the session",
                    "It may be shutting down, or another user may have its screen; try again later.");
  }
}

Outcome<HelloAck> exchangeHello(Session& session, Hello hello, Deadline deadline) {
  if (auto sent = session.send(ControlMessage(message::Hello{std::move(hello)})); !sent)
    return std::unexpected(asRefusal(session, sent.error()));
  auto answer = await<message::HelloAck>(session, deadline);
  if (!answer) return std::unexpected(answer.error());
  if (answer->_0.protocolVersion != WireProtocol::version)
    return failed(ExitCode::refused,
                  fmt::format("the host speaks protocol version {}, this client version {}",
                              answer->_0.protocolVersion, WireProtocol::version),
                  "Update the older of the two.");
  session.hostDevice = answer->_0.device;
  return std::move(answer->_0);
}

}  // namespace

Outcome<HelloAck> greet(Session& session, const DeviceInfo& device, Deadline deadline) {
  return exchangeHello(session, {WireProtocol::version, device, std::nullopt}, deadline);
}

Outcome<HelloAck> proveToken(Session& session, const DeviceInfo& device, ByteView token,
                             const HelloAck& greeting, Deadline deadline) {
  auto answer = exchangeHello(
      session, {WireProtocol::version, device, Pairing::tokenProof(token, greeting.nonce)}, deadline);
  if (!answer || answer->authenticated) return answer;
  return failed(ExitCode::refused,
                fmt::format("{} no longer accepts this client's pairing", printable(greeting.device.name)),
                "It was removed there; pair again with 'quorl_client pair HOST'.");
}

Outcome<std::variant<Paired, WrongPIN>> provePIN(Session& session, std::string_view pin,
                                                 const HelloAck& greeting, Deadline deadline) {
  const ControlMessage request(message::PairRequest{{Pairing::pinProof(pin, greeting.nonce)}});
  if (auto sent = session.send(request); !sent) return std::unexpected(asRefusal(session, sent.error()));
  auto response = await<message::PairResponse>(session, deadline);
  if (!response) return std::unexpected(response.error());
  if (!response->_0.success) return WrongPIN{};
  if (!response->_0.token || response->_0.token->empty())
    return failed(ExitCode::failure, "the host accepted the PIN but sent no token", "Pair again.");
  if (response->_0.token->size() > longestToken)
    return failed(ExitCode::failure,
                  fmt::format("the host sent a token of {} bytes", response->_0.token->size()),
                  "Check that the address is that of your host.");
  auto acknowledgement = await<message::HelloAck>(session, deadline);
  if (!acknowledgement) return std::unexpected(acknowledgement.error());
  return Paired{std::move(*response->_0.token), std::move(acknowledgement->_0)};
}

}  // namespace quorl::client
