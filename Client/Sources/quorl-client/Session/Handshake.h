// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>
#include <variant>

#include <QuorlKit/Protocol/Handshake.h>

#include <quorl-client/Session/Session.h>

namespace quorl::client {

// The opening of a session. A host tells nothing before the client has proved a token or the PIN:
//
//   client                         host
//   hello                   ->
//                           <-     helloAck (authenticated false, nonce)
//   hello with authProof    ->                                     a paired client
//                           <-     helloAck (authenticated true)
//   pairRequest             ->                                     a new client
//                           <-     pairResponse, helloAck (authenticated true)
//
// Each of these steps waits for its answer until the deadline and fails with `refused`, `timedOut`, or what
// the session failed with.

// The first hello: who the host is, and the nonce for the proof.
Outcome<HelloAck> greet(Session& session, const DeviceInfo& device, Deadline deadline);

// The second hello, with the proof of the token over the nonce of `greeting`.
Outcome<HelloAck> proveToken(Session& session, const DeviceInfo& device, ByteView token,
                             const HelloAck& greeting, Deadline deadline);

struct WrongPIN {};
struct Paired {
  Bytes token;
  HelloAck acknowledgement;
};
// After WrongPIN the host may be asked again with the same greeting, a few times.
Outcome<std::variant<Paired, WrongPIN>> provePIN(Session& session, std::string_view pin,
                                                 const HelloAck& greeting, Deadline deadline);

}  // namespace quorl::client
