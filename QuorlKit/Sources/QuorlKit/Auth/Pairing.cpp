// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Auth/Pairing.h>

#include <cstddef>

#include <fmt/format.h>
#include <openssl/crypto.h>

#include <QuorlKit/Foundation/Digest.h>

namespace quorl::Pairing {

namespace {

constexpr std::uint32_t pinCount = 1'000'000;
constexpr std::size_t tokenSize = 32;
constexpr std::size_t nonceSize = 16;

Bytes randomBytes(SecureRandom& source, std::size_t count) {
  Bytes bytes(count);
  source.fill(bytes);
  return bytes;
}

}  // namespace

std::string randomPIN(SecureRandom& source) {
  return fmt::format("{:06}", source.uniform(pinCount));
}
std::string randomPIN() {
  return randomPIN(SystemSecureRandom::shared());
}

Bytes randomToken(SecureRandom& source) {
  return randomBytes(source, tokenSize);
}
Bytes randomToken() {
  return randomToken(SystemSecureRandom::shared());
}

Bytes randomNonce(SecureRandom& source) {
  return randomBytes(source, nonceSize);
}
Bytes randomNonce() {
  return randomNonce(SystemSecureRandom::shared());
}

Bytes pinProof(std::string_view pin, ByteView nonce) {
  return tokenProof(sha256(viewOf(pin)), nonce);
}

Bytes tokenProof(ByteView token, ByteView nonce) {
  const SHA256Digest proof = hmacSHA256(token, nonce);
  return {proof.begin(), proof.end()};
}

bool constantTimeEquals(ByteView a, ByteView b) {
  if (a.size() != b.size()) return false;
  return a.empty() || CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace quorl::Pairing
