// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/UserSessionManager.h>

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/FakePlatform.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class UserSessionManagerTest : public testing::Test {
 protected:
  UserSessionManagerTest() {
    fakes.userDirectory->users = {{501, "anna", "Anna A."}, {502, "bea", ""}, {1, "daemon", "Daemon"}};
  }

  SimulatedScheduler simulation;
  FakePlatform fakes{simulation};
  std::shared_ptr<UserSessionManager> users = std::make_shared<UserSessionManager>(fakes.platform(), nullptr);
};

TEST_F(UserSessionManagerTest, listsAccountsWithTheirState) {
  fakes.loginSessions->loggedIn = {"anna", "bea"};
  fakes.console->user = "bea";
  EXPECT_THAT(users->accounts(), ElementsAre(Account{502, "bea", "bea", true, true},
                                             Account{501, "anna", "Anna A.", true, false}));
}

TEST_F(UserSessionManagerTest, findsNoActiveUserAtTheLoginWindow) {
  for (const auto& name : {std::optional<std::string>(), std::optional<std::string>(""),
                           std::optional<std::string>("loginwindow")}) {
    fakes.console->user = name;
    EXPECT_EQ(users->consoleUser(), std::nullopt);
    EXPECT_THAT(users->accounts(), ElementsAre(Account{501, "anna", "Anna A.", false, false},
                                               Account{502, "bea", "bea", false, false}));
  }
}

TEST_F(UserSessionManagerTest, takesTheFirstPictureThatBecomesASmallPNG) {
  auto& files = fakes.userDirectory->files["anna"];
  files = {bytesOf("no picture"), FakePictureScaler::pictureOf(UserSessionManager::avatarMaximum + 1),
           FakePictureScaler::pictureOf(UserSessionManager::avatarMaximum), FakePictureScaler::pictureOf(7)};
  const auto avatar = users->avatarPNG("anna");
  ASSERT_TRUE(avatar);
  EXPECT_EQ(avatar->size(), UserSessionManager::avatarMaximum);
  EXPECT_EQ(fakes.userDirectory->offered, 3);
  EXPECT_EQ(fakes.pictures->lastSide, 256);
  EXPECT_EQ(users->avatarPNG("bea"), std::nullopt);
}

TEST_F(UserSessionManagerTest, buildsTheListOfClientsInTheSameOrder) {
  fakes.userDirectory->files["bea"] = {FakePictureScaler::pictureOf(3)};
  EXPECT_THAT(users->userList(), ElementsAre(UserAccount{501, "anna", "Anna A.", false, true, std::nullopt},
                                             UserAccount{502, "bea", "bea", false, false, bytesOf("PPP")}));
}

TEST_F(UserSessionManagerTest, leavesOutAvatarsThatWouldNotFitInAFrame) {
  fakes.userDirectory->users.clear();
  for (std::uint32_t uid = 1000; uid < 1100; ++uid) {
    const auto name = "user" + std::to_string(uid);
    fakes.userDirectory->users.push_back({uid, name, ""});
    fakes.userDirectory->files[name] = {FakePictureScaler::pictureOf(UserSessionManager::avatarMaximum)};
  }
  const auto list = users->userList();
  EXPECT_THAT(list, SizeIs(100));
  EXPECT_TRUE(list.front().avatarPNG);
  EXPECT_FALSE(list.back().avatarPNG);
  EXPECT_TRUE(ControlCoder::encode(message::UserList{list})->size() < 33'554'432);
}

TEST_F(UserSessionManagerTest, hasNoAccountsWhereThePlatformListsNone) {
  users = std::make_shared<UserSessionManager>(simulation,
                                               UserSessionManager::Ports{.sessions = fakes.loginSessions});
  EXPECT_THAT(users->userList(), IsEmpty());
  EXPECT_EQ(users->avatarPNG("anna"), std::nullopt);
  EXPECT_FALSE(users->attemptUnlock(SecretText("p")));
}

TEST_F(UserSessionManagerTest, passesASwitchToTheOwnUserOnLikeAnyOther) {
  EXPECT_EQ(users->switchTo(users->ownUserID()), SwitchOutcome(switchOutcome::Switched{}));
  fakes.loginSessions->outcome = switchOutcome::Failed{"SACSwitchToUserID status -1"};
  EXPECT_EQ(users->switchTo(502), fakes.loginSessions->outcome);
  EXPECT_THAT(fakes.loginSessions->switches, ElementsAre(501U, 502U));
}

TEST_F(UserSessionManagerTest, reportsTheStateOfTheScreen) {
  EXPECT_FALSE(users->isScreenLocked());
  EXPECT_FALSE(users->secureInputActive());
  fakes.loginSessions->isLocked = true;
  fakes.loginSessions->isSecureInput = true;
  EXPECT_TRUE(users->isScreenLocked());
  EXPECT_TRUE(users->secureInputActive());
}

}  // namespace
}  // namespace quorl::test
