// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/SecureRandom.h>

/// The secrets and proofs of the session protocol. A PIN is 6 ASCII digits, a token 32 random bytes, a nonce
/// 16 random bytes, a proof the whole 32 bytes of an HMAC-SHA-256 (RFC 2104). Pure functions, any thread.
/// Without a source the system's generator is used.
namespace quorl::Pairing {

std::string randomPIN(SecureRandom& source);
std::string randomPIN();
Bytes randomToken(SecureRandom& source);
Bytes randomToken();
Bytes randomNonce(SecureRandom& source);
Bytes randomNonce();

/// Keyed with the SHA-256 of the PIN's UTF-8 bytes.
Bytes pinProof(std::string_view pin, ByteView nonce);
/// Keyed with the token itself.
Bytes tokenProof(ByteView token, ByteView nonce);

/// The time does not depend on where the inputs differ. Lengths are no secret: unequal ones return at once.
bool constantTimeEquals(ByteView a, ByteView b);

}  // namespace quorl::Pairing
