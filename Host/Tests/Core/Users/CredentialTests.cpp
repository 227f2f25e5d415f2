// SPDX-License-Identifier: GPL-3.0-or-later
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Users/UserSessionManager.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

class CredentialTest : public testing::Test {
 protected:
  void check(const std::string& password, const std::string& user = "anna") {
    users->verifyCredentials(user, SecretText(password),
                             [this](bool isValid) { answers.push_back(isValid); });
  }
  void checkNow(const std::string& password) {
    check(password);
    simulation.runReady();
  }

  LogRecorder log;
  SimulatedScheduler simulation;
  FakePlatform fakes{simulation};
  std::shared_ptr<UserSessionManager> users = std::make_shared<UserSessionManager>(fakes.platform(), nullptr);
  std::vector<bool> answers;
};

TEST_F(CredentialTest, areRightOrWrong) {
  check("right");
  check("wrong");
  check("right", "bea");
  simulation.runReady();
  EXPECT_THAT(answers, ElementsAre(true, false, false));
  EXPECT_THAT(fakes.credentials->checks, ElementsAre("anna", "anna", "bea"));
}

TEST_F(CredentialTest, areNotCheckedForAMinuteAfterTenFailures) {
  for (int i = 0; i < 10; ++i) checkNow("wrong");
  checkNow("right");
  EXPECT_FALSE(answers.back());
  EXPECT_THAT(fakes.credentials->checks, SizeIs(10));
  EXPECT_EQ(log.count("too many wrong passwords: no password is checked for a minute"), 1U);
  simulation.advance(std::chrono::seconds(61));
  checkNow("right");
  EXPECT_TRUE(answers.back());
}

TEST_F(CredentialTest, areCheckedWhileFailuresAreRare) {
  for (int i = 0; i < 30; ++i) {
    checkNow("wrong");
    simulation.advance(std::chrono::seconds(10));
  }
  checkNow("right");
  EXPECT_TRUE(answers.back());
  EXPECT_THAT(fakes.credentials->checks, SizeIs(31));
}

TEST_F(CredentialTest, areAnsweredWithoutACheckWhileManyWait) {
  for (int i = 0; i < UserSessionManager::mostWaitingChecks + 3; ++i) check("right");
  EXPECT_THAT(answers, SizeIs(3));
  EXPECT_THAT(answers, Each(false));
  simulation.runReady();
  EXPECT_THAT(answers, SizeIs(UserSessionManager::mostWaitingChecks + 3));
  EXPECT_TRUE(answers.back());
}

TEST_F(CredentialTest, areWrongWhereThePlatformCannotCheckThem) {
  users = std::make_shared<UserSessionManager>(simulation,
                                               UserSessionManager::Ports{.sessions = fakes.loginSessions});
  checkNow("right");
  EXPECT_THAT(answers, ElementsAre(false));
}

TEST_F(CredentialTest, neverReachTheLog) {
  checkNow("wrong");
  checkNow("right");
  for (const auto& line : log.lines()) {
    EXPECT_EQ(line.text.find("right"), std::string::npos);
    EXPECT_EQ(line.text.find("wrong p"), std::string::npos);
  }
}

TEST(CredentialLimiter, countsAWindowOfAMinute) {
  CredentialLimiter limiter;
  const MonotonicTime start{};
  for (int i = 0; i < 9; ++i) EXPECT_FALSE(limiter.recordFailure(start + std::chrono::seconds(i)));
  EXPECT_FALSE(limiter.recordFailure(start + std::chrono::seconds(61))) << "one is older than a minute";
  EXPECT_TRUE(limiter.mayCheck(start + std::chrono::seconds(61)));
  EXPECT_TRUE(limiter.recordFailure(start + std::chrono::seconds(61)));
  EXPECT_FALSE(limiter.mayCheck(start + std::chrono::seconds(120)));
  EXPECT_TRUE(limiter.mayCheck(start + std::chrono::seconds(121)));
}

}  // namespace
}  // namespace quorl::test
