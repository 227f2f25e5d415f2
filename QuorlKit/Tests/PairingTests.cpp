// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Auth/Pairing.h>

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include <QuorlKit/Foundation/Digest.h>

namespace quorl {
namespace {

// Returns the given bytes in order, repeatedly.
class ScriptedRandom final : public SecureRandom {
 public:
  explicit ScriptedRandom(Bytes script) : script_(std::move(script)) {}
  void fill(std::span<std::uint8_t> out) override {
    for (std::uint8_t& byte : out) byte = script_[next_++ % script_.size()];
  }
  std::size_t drawn() const { return next_; }

 private:
  Bytes script_;
  std::size_t next_ = 0;
};

Bytes fromHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(hex.substr(at, 2)), nullptr, 16)));
  return bytes;
}

TEST(Pairing, padsAPINWithZeros) {
  ScriptedRandom source({7, 0, 0, 0});
  EXPECT_EQ(Pairing::randomPIN(source), "000007");
}

TEST(Pairing, provesTheSixBytesOfThePIN) {
  const Bytes nonce(16, 0x42);
  EXPECT_EQ(Pairing::pinProof("000007", nonce), Pairing::tokenProof(sha256(viewOf("000007")), nonce));
  EXPECT_NE(Pairing::pinProof("000007", nonce), Pairing::pinProof("7", nonce));
}

// Made with: printf ... | openssl dgst -sha256 -mac HMAC -macopt hexkey:$(printf 123456 | sha256sum | cut
// -c1-64)
TEST(Pairing, matchesAProofMadeByAnotherTool) {
  const Bytes nonce = fromHex("000102030405060708090a0b0c0d0e0f");
  EXPECT_EQ(Pairing::pinProof("123456", nonce),
            fromHex("510f505fe0d3fd8f15284ea98583ba6b7835e971c794bcb89263e391e88125f4"));
  EXPECT_EQ(Pairing::tokenProof(Bytes(32, 0x0B), nonce),
            fromHex("8392642a81c837490aa743b3e9abb4e7160ea0fbae5cf23c21f327a8c85cb7bb"));
}

TEST(Pairing, makes32ByteProofsThatDependOnTheNonce) {
  const Bytes one = Pairing::pinProof("123456", Bytes(16, 1));
  EXPECT_EQ(one.size(), 32U);
  EXPECT_NE(one, Pairing::pinProof("123456", Bytes(16, 2)));
}

TEST(Pairing, rejectsDrawsThatWouldFavourSomePINs) {
  // 4294 whole millions fit below 2^32; a draw from the 967296 values above them is refused.
  ScriptedRandom source({0xFF, 0xFF, 0xFF, 0xFF, 0x40, 0x42, 0x0F, 0x00});
  EXPECT_EQ(Pairing::randomPIN(source), "000000");
  EXPECT_EQ(source.drawn(), 8U);
}

TEST(Pairing, drawsSixDigitsThirtyTwoAndSixteenBytes) {
  const std::string pin = Pairing::randomPIN();
  EXPECT_EQ(pin.size(), 6U);
  EXPECT_TRUE(std::ranges::all_of(pin, [](char c) { return c >= '0' && c <= '9'; }));
  EXPECT_EQ(Pairing::randomToken().size(), 32U);
  EXPECT_EQ(Pairing::randomNonce().size(), 16U);
  EXPECT_NE(Pairing::randomToken(), Pairing::randomToken());
  EXPECT_NE(Pairing::randomNonce(), Pairing::randomNonce());
}

TEST(Pairing, comparesUnequalLengthsWithoutReadingAByte) {
  // Reading from this address would crash the test.
  const auto* const nowhere = reinterpret_cast<const std::uint8_t*>(8);
  EXPECT_FALSE(Pairing::constantTimeEquals(ByteView(nowhere, 3), ByteView(nowhere, 4)));
}

TEST(Pairing, findsTwoEmptyInputsEqual) {
  EXPECT_TRUE(Pairing::constantTimeEquals({}, {}));
}

TEST(Pairing, findsADifferenceAtAnyPosition) {
  const Bytes base(32, 0xA5);
  EXPECT_TRUE(Pairing::constantTimeEquals(base, Bytes(base)));
  for (std::size_t index = 0; index < base.size(); ++index) {
    Bytes other = base;
    other[index] ^= 0x80;
    EXPECT_FALSE(Pairing::constantTimeEquals(base, other)) << index;
  }
}

}  // namespace
}  // namespace quorl
