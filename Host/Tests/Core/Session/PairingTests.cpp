// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Trust/PairingLimiter.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlKit/Auth/Pairing.h>
#include <Support/FakeRandom.h>

namespace quorl::test {
namespace {

TEST(PairingLimiter, keepsOneEntryAfterNineFailuresAndAMinuteOfSilence) {
  PairingLimiter limiter;
  for (int count = 0; count < 9; ++count) limiter.recordFailure(Date{100});
  limiter.recordFailure(Date{161});
  EXPECT_EQ(limiter.failureCount(), 1U);
  EXPECT_FALSE(limiter.isLockedOut(Date{161}));
}

TEST(PairingLimiter, countsAFailureOfExactlySixtySecondsAgo) {
  PairingLimiter limiter;
  for (int count = 0; count < 9; ++count) limiter.recordFailure(Date{100});
  limiter.recordFailure(Date{160});
  EXPECT_TRUE(limiter.isLockedOut(Date{160}));
}

TEST(PairingLimiter, locksForSixtySecondsAtTheTenthFailureAndStartsToCountAnew) {
  PairingLimiter limiter;
  for (int count = 0; count < 10; ++count) limiter.recordFailure(Date{100.0 + count});
  EXPECT_EQ(limiter.failureCount(), 0U);
  EXPECT_EQ(limiter.lockedUntil(), Date{169});
  EXPECT_TRUE(limiter.isLockedOut(Date{168.9}));
  EXPECT_FALSE(limiter.isLockedOut(Date{169}));
  for (int count = 0; count < 9; ++count) limiter.recordFailure(Date{170});
  EXPECT_FALSE(limiter.isLockedOut(Date{170}));
  limiter.recordFailure(Date{170});
  EXPECT_TRUE(limiter.isLockedOut(Date{170}));
}

TEST(PairingLimiter, forgetsEverythingOnASuccess) {
  PairingLimiter limiter;
  for (int count = 0; count < 10; ++count) limiter.recordFailure(Date{100});
  limiter.recordSuccess();
  EXPECT_FALSE(limiter.isLockedOut(Date{100}));
  for (int count = 0; count < 9; ++count) limiter.recordFailure(Date{100});
  EXPECT_FALSE(limiter.isLockedOut(Date{100}));
}

class PairingStateTest : public testing::Test {
 protected:
  PairingState& withRandomPIN() {
    state_ = std::make_unique<PairingState>(simulation_, random_);
    return *state_;
  }
  PairingState& withPIN(const std::string& pin) {
    state_ = std::make_unique<PairingState>(simulation_, random_, pin);
    return *state_;
  }
  static Bytes proof(const std::string& pin) { return Pairing::pinProof(pin, nonce); }

  inline static const Bytes nonce = Bytes(16, 7);
  SimulatedScheduler simulation_;
  std::shared_ptr<FakeRandom> random_ = std::make_shared<FakeRandom>();
  std::unique_ptr<PairingState> state_;
};

TEST_F(PairingStateTest, keepsAFixedPINAfterPairingAndStaysSilent) {
  PairingState& pairing = withPIN("any text at all");
  int changes = 0;
  pairing.onPINChanged([&](const std::string&) { ++changes; });
  EXPECT_EQ(pairing.attempt(proof("any text at all"), nonce), PairingVerdict::right);
  EXPECT_EQ(pairing.regenerate(), "any text at all");
  EXPECT_EQ(pairing.pin(), "any text at all");
  EXPECT_EQ(changes, 0);
}

TEST_F(PairingStateTest, servesARandomPINOnce) {
  PairingState& pairing = withRandomPIN();
  const std::string first = pairing.pin();
  ASSERT_EQ(first.size(), 6U);
  EXPECT_EQ(pairing.attempt(proof(first), nonce), PairingVerdict::right);
  EXPECT_NE(pairing.pin(), first);
  EXPECT_EQ(pairing.attempt(proof(first), nonce), PairingVerdict::wrong);
}

TEST_F(PairingStateTest, reportsANewPINOffItsQueueSoThatTheCallbackMayReadIt) {
  PairingState& pairing = withRandomPIN();
  std::vector<std::string> told;
  pairing.onPINChanged([&](const std::string& pin) {
    EXPECT_EQ(pairing.pin(), pin);
    told.push_back(pin);
  });
  const std::string second = pairing.regenerate();
  EXPECT_EQ(told, std::vector{second});
  EXPECT_EQ(pairing.attempt(proof(second), nonce), PairingVerdict::right);
  EXPECT_EQ(told.size(), 2U);
}

TEST_F(PairingStateTest, looksAtNoProofWhileLocked) {
  PairingState& pairing = withRandomPIN();
  for (int count = 0; count < 10; ++count)
    EXPECT_EQ(pairing.attempt(proof("nothing"), nonce), PairingVerdict::wrong);
  EXPECT_EQ(pairing.attempt(proof(pairing.pin()), nonce), PairingVerdict::lockedOut);
  simulation_.advance(std::chrono::seconds(61));
  EXPECT_FALSE(pairing.isLockedOut());
  EXPECT_EQ(pairing.attempt(proof(pairing.pin()), nonce), PairingVerdict::right);
}

TEST_F(PairingStateTest, refusesAProofOfAnotherLength) {
  PairingState& pairing = withRandomPIN();
  EXPECT_EQ(pairing.attempt({}, nonce), PairingVerdict::wrong);
  Bytes longer = proof(pairing.pin());
  longer.push_back(0);
  EXPECT_EQ(pairing.attempt(longer, nonce), PairingVerdict::wrong);
}

}  // namespace
}  // namespace quorl::test
