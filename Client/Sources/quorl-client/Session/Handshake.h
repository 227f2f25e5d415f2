// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>
#include <variant>

#include <QuorlKit/Protocol/Handshake.h>

#include <quorl-client/Session/Session.h>

namespace quorl::client {

// The start of a session. A host sends nothing else before the client has proved a token or the PIN:
//
//   client                         host
//   hello                   ->
//                           <-     helloAck (authenticated false, nonce)
//   hello with authProof    ->                                     a paired client
//                           <-     helloAck (authenticated true)
//   pairRequest             ->                                     a new client
//                           <-     pairResponse, helloAck (authenticated true)
//
// Each step waits for its answer until the deadline and fails with `refused`, `timedOut` or the session's
// failure.

/// The first hello. The answer has the description of the host and the nonce for the proof.
Outcome<HelloAck> greet(Session& session, const DeviceInfo& device, Deadline deadline);

/// The second hello, with the proof of the token over the nonce of `greeting`.
Outcome<HelloAck> proveToken(Session& session, const DeviceInfo& device, ByteView token,
                             const HelloAck& greeting, Deadline deadline);

struct WrongPIN {};
struct Paired {
  Bytes token;
  HelloAck acknowledgement;
};
/// After WrongPIN another PIN may be tried with the same greeting, a few times.
Outcome<std::variant<Paired, WrongPIN>> provePIN(Session& session, std::string_view pin,
                                                 const HelloAck& greeting, Deadline deadline);

}  // namespace quorl::client
