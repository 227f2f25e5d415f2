// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* notPermittedText = "Auto-unlock needs Accessibility; enter the password on the Mac.";

class UserRequestTest : public SessionFixture {
 protected:
  UserRequestTest() : client_(connectAuthenticated()) {}

  std::vector<UserSwitchResult> results() const {
    std::vector<UserSwitchResult> found;
    for (const auto& message : client_.all<message::UserSwitchResult>()) found.push_back(message._0);
    return found;
  }
  void advance(std::chrono::milliseconds time) {
    simulation_.advance(time);
    client_.settle();
  }
  std::u16string typed() const {
    std::u16string text;
    for (const auto& event : platform_.events->posted)
      if (const auto& key = std::get<KeyboardEvent>(event); key.down) text += key.unicode;
    return text;
  }

  FakeClient client_;
};

TEST_F(UserRequestTest, answersTheListOfUsers) {
  platform_.userDirectory->users = {{502, "bea", "Bea"}, {501, "anna", ""}};
  platform_.userDirectory->files["bea"] = {FakePictureScaler::pictureOf(2)};
  client_.send(message::RequestUserList{});
  ASSERT_TRUE(client_.last<message::UserList>());
  EXPECT_THAT(client_.last<message::UserList>()->_0,
              ElementsAre(UserAccount{501, "anna", "anna", false, true, std::nullopt},
                          UserAccount{502, "bea", "Bea", false, false, bytesOf("PP")}));
}

TEST_F(UserRequestTest, answersASwitchWithoutAPasswordOnce) {
  client_.send(message::SwitchUser{{502, std::nullopt}});
  client_.send(message::SwitchUser{{502, SecretText("")}});
  advance(std::chrono::seconds(2));
  const UserSwitchResult switched{502, UserSwitchStatus::switched, std::nullopt, false};
  EXPECT_THAT(results(), ElementsAre(switched, switched));
  EXPECT_THAT(platform_.events->posted, IsEmpty());
}

TEST_F(UserRequestTest, typesThePasswordAfterTheLoginWindowHasAppeared) {
  client_.send(message::SwitchUser{{502, SecretText("pw")}});
  advance(std::chrono::milliseconds(799));
  EXPECT_THAT(results(), SizeIs(1));
  EXPECT_EQ(typed(), u"");
  advance(std::chrono::milliseconds(1));
  EXPECT_EQ(results().back(),
            (UserSwitchResult{502, UserSwitchStatus::unlockAttempted, std::nullopt, false}));
  EXPECT_EQ(typed(), u"pw");
}

TEST_F(UserRequestTest, reportsAPasswordThatCouldNotBeTyped) {
  platform_.permissions->input = false;
  client_.send(message::SwitchUser{{502, SecretText("pw")}});
  advance(std::chrono::milliseconds(800));
  EXPECT_THAT(results(),
              ElementsAre(UserSwitchResult{502, UserSwitchStatus::switched, std::nullopt, false},
                          UserSwitchResult{502, UserSwitchStatus::notPermitted, notPermittedText, false}));
}

TEST_F(UserRequestTest, typesNothingForAClientThatHasLeft) {
  client_.send(message::SwitchUser{{502, SecretText("pw")}});
  client_.send(message::Bye{});
  connection_.reset();
  advance(std::chrono::seconds(2));
  EXPECT_EQ(typed(), u"");
}

TEST_F(UserRequestTest, reportsASwitchThatFailed) {
  platform_.loginSessions->outcome = switchOutcome::Failed{"SACSwitchToUserID status 5"};
  platform_.loginSessions->isSecureInput = true;
  client_.send(message::SwitchUser{{502, SecretText("pw")}});
  advance(std::chrono::seconds(2));
  EXPECT_THAT(results(), ElementsAre(UserSwitchResult{502, UserSwitchStatus::failed,
                                                      "SACSwitchToUserID status 5", true}));
  EXPECT_EQ(typed(), u"");
}

TEST_F(UserRequestTest, reportsThatNoMeansToSwitchExists) {
  platform_.loginSessions->outcome = switchOutcome::Unavailable{};
  client_.send(message::SwitchUser{{502, SecretText("pw")}});
  advance(std::chrono::seconds(2));
  EXPECT_THAT(results(), ElementsAre(UserSwitchResult{
                             502, UserSwitchStatus::unavailable,
                             "No Fast User Switching mechanism is available on this Mac.", false}));
}

TEST_F(UserRequestTest, unlocksTheHostsOwnSession) {
  client_.send(message::SwitchUser{{502, std::nullopt}});
  client_.send(message::UnlockSession{SecretText("own")});
  EXPECT_EQ(results().back(),
            (UserSwitchResult{501, UserSwitchStatus::unlockAttempted, std::nullopt, false}));
  EXPECT_EQ(typed(), u"own");
  platform_.permissions->input = false;
  client_.send(message::UnlockSession{SecretText("own")});
  EXPECT_EQ(results().back(),
            (UserSwitchResult{501, UserSwitchStatus::notPermitted, notPermittedText, false}));
}

TEST_F(UserRequestTest, answersWhetherAPasswordIsRight) {
  client_.send(message::VerifyCredentials{{"anna", SecretText("right")}});
  client_.send(message::VerifyCredentials{{"anna", SecretText("wrong")}});
  std::vector<CredentialCheckResult> answers;
  for (const auto& message : client_.all<message::CredentialResult>()) answers.push_back(message._0);
  EXPECT_THAT(answers,
              ElementsAre(CredentialCheckResult{"anna", true}, CredentialCheckResult{"anna", false}));
}

TEST_F(UserRequestTest, passesSystemCommandsOn) {
  client_.send(message::SystemCommand{systemCommand::SetVolume{0.444}});
  client_.send(message::SystemCommand{systemCommand::Caffeinate{true}});
  EXPECT_THAT(platform_.power->calls,
              ElementsAre("volume 44", "system Quorl session active", "display Quorl session active"));
  EXPECT_THAT(client_.names(), IsEmpty());
  client_.send(message::Bye{});
  EXPECT_THAT(platform_.power->held, SizeIs(2)) << "the end of a client releases nothing";
}

TEST_F(UserRequestTest, logsNoPassword) {
  client_.send(message::SwitchUser{{502, SecretText("hunter2")}});
  client_.send(message::UnlockSession{SecretText("hunter2")});
  client_.send(message::VerifyCredentials{{"anna", SecretText("hunter2")}});
  advance(std::chrono::seconds(2));
  for (const auto& line : log_.lines()) EXPECT_EQ(line.text.find("hunter2"), std::string::npos) << line.text;
}

}  // namespace
}  // namespace quorl::test
