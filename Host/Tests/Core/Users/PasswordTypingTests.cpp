// SPDX-License-Identifier: GPL-3.0-or-later
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Input/PasswordKeys.h>
#include <QuorlHostCore/Users/UserSessionManager.h>
#include <Support/FakePlatform.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PasswordTypingTest : public testing::Test {
 protected:
  // Each key as it was typed: the text of a key press, or the code of a key without text.
  std::vector<std::u16string> typed() {
    simulation.runReady();
    std::vector<std::u16string> found;
    for (const auto& event : fakes.events->posted) {
      const auto& key = std::get<KeyboardEvent>(event);
      if (!key.down) continue;
      EXPECT_TRUE(key.unicode.empty() || key.keyCode == 0);
      found.push_back(!key.unicode.empty() ? key.unicode : key.keyCode == 36 ? u"Return" : u"?");
    }
    return found;
  }

  SimulatedScheduler simulation;
  FakePlatform fakes{simulation};
  std::shared_ptr<InputInjector> injector =
      std::make_shared<InputInjector>(fakes.platform(), [] { return HostSettings(); });
  std::shared_ptr<UserSessionManager> users =
      std::make_shared<UserSessionManager>(fakes.platform(), injector);
};

TEST_F(PasswordTypingTest, typesOneUnitAnEventAndThenReturn) {
  EXPECT_TRUE(users->attemptUnlock(SecretText("aé")));
  EXPECT_THAT(typed(), ElementsAre(u"a", u"é", u"Return"));
  const auto& posted = fakes.events->posted;
  EXPECT_EQ(posted.size(), 6U);
  EXPECT_EQ(posted[1], SyntheticEvent(KeyboardEvent{.keyCode = 0, .down = false, .unicode = u"a"}));
  EXPECT_EQ(posted[5], SyntheticEvent(KeyboardEvent{.keyCode = 36, .down = false}));
}

TEST_F(PasswordTypingTest, cutsAnEmojiToItsLowBitsAndStillSendsReturn) {
  EXPECT_TRUE(users->attemptUnlock(SecretText("x\U0001F600")));
  EXPECT_THAT(typed(), ElementsAre(u"x", std::u16string(1, u'\xF600'), u"Return"));
}

TEST_F(PasswordTypingTest, sendsReturnAloneForAnEmptyPassword) {
  EXPECT_TRUE(users->attemptUnlock(SecretText()));
  EXPECT_THAT(typed(), ElementsAre(u"Return"));
}

TEST_F(PasswordTypingTest, typesNothingWithoutPermission) {
  fakes.permissions->input = false;
  EXPECT_FALSE(users->attemptUnlock(SecretText("abc")));
  EXPECT_THAT(typed(), IsEmpty());
}

TEST_F(PasswordTypingTest, typesNothingWhereInputDoesNotFollowTheSwitch) {
  fakes.loginSessions->inputFollows = false;
  EXPECT_FALSE(users->attemptUnlockAfterSwitch(502, SecretText("abc")));
  EXPECT_THAT(typed(), IsEmpty());
  fakes.loginSessions->inputFollows = true;
  EXPECT_TRUE(users->attemptUnlockAfterSwitch(502, SecretText("abc")));
  EXPECT_THAT(typed(), ElementsAre(u"a", u"b", u"c", u"Return"));
}

TEST_F(PasswordTypingTest, keepsOtherTextOutOfAPassword) {
  int pauses = 12;
  fakes.events->finishing = [&](std::u16string_view) -> Duration {
    return --pauses > 0 ? Duration(std::chrono::milliseconds(10)) : Duration::zero();
  };
  injector->insertText(std::string(30, 't'));
  simulation.runReady();
  EXPECT_TRUE(users->attemptUnlock(SecretText("abc")));
  injector->insertText("after");
  simulation.advance(std::chrono::seconds(1));
  EXPECT_THAT(typed(), ElementsAre(std::u16string(20, u't'), u"a", u"b", u"c", u"Return",
                                   std::u16string(10, u't'), u"after"));
}

TEST_F(PasswordTypingTest, doesNotShowThePlatformWhatFollows) {
  std::size_t longest = 0;
  fakes.events->finishing = [&](std::u16string_view following) -> Duration {
    longest = std::max(longest, following.size());
    return Duration::zero();
  };
  EXPECT_TRUE(users->attemptUnlock(SecretText("abcdef")));
  simulation.runReady();
  EXPECT_EQ(longest, 0U);
}

TEST_F(PasswordTypingTest, refusesWhatIsNoPassword) {
  EXPECT_FALSE(users->attemptUnlock(SecretText(std::string(InputInjector::longestPassword + 1, 'x'))));
  for (int i = 0; i < InputInjector::mostWaitingPasswords; ++i)
    EXPECT_TRUE(users->attemptUnlock(SecretText()));
  EXPECT_FALSE(users->attemptUnlock(SecretText()));
  EXPECT_EQ(typed().size(), static_cast<std::size_t>(InputInjector::mostWaitingPasswords));
  EXPECT_TRUE(users->attemptUnlock(SecretText())) << "those before have been typed";
}

TEST(PasswordKeys, areTheScalarsOfTheText) {
  PasswordKeys keys(SecretText("A\u00df\u20ac\U00010041\xFF!"));
  for (const char16_t unit : {u'A', u'\u00df', u'\u20ac', u'A', u'\xFFFD', u'!'})
    EXPECT_EQ(keys.next(), unit);
  EXPECT_EQ(keys.next(), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
