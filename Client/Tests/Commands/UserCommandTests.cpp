// SPDX-License-Identifier: GPL-3.0-or-later
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlUnix/Descriptor.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<UserAccount> users{{1000, "anna", "Anna A.", true, true, bytesOf("PNG")},
                                     {1001, "bea\x1b", "Bea", true, false, std::nullopt},
                                     {1002, "carl", "carl", false, false, std::nullopt}};

class UserCommandTest : public testing::Test {
 protected:
  using Messages = std::vector<ControlMessage>;

  UserCommandTest() { run_.addHost(host_.pairedHost()); }

  Messages answer(const ControlMessage& message) const {
    if (std::holds_alternative<message::RequestUserList>(message)) return {message::UserList{users}};
    if (const auto* check = std::get_if<message::VerifyCredentials>(&message))
      return {message::CredentialResult{{check->_0.username, check->_0.password.view() == "right"}}};
    if (std::holds_alternative<message::SwitchUser>(message) ||
        std::holds_alternative<message::UnlockSession>(message)) {
      Messages results;
      for (const auto& result : results_) results.push_back(message::UserSwitchResult{result});
      return results;
    }
    return {};
  }
  // Runs the command with this text as its input.
  test::CommandResult run(const std::vector<std::string>& words, const std::string& input) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const Descriptor read(ends[0]);
    Descriptor write(ends[1]);
    EXPECT_EQ(::write(write.get(), input.data(), input.size()), static_cast<ssize_t>(input.size()));
    write.reset();
    run_.inputDescriptor = read.get();
    return run_(words);
  }
  static UserSwitchResult result(UserSwitchStatus status, std::optional<std::string> text = std::nullopt) {
    return {1001, status, std::move(text), false};
  }

  std::vector<UserSwitchResult> results_;
  FakeHost host_{{.answers = [this](const ControlMessage& message) { return answer(message); }}};
  CommandRun run_;
};

TEST_F(UserCommandTest, listsTheAccountsAndTheirStates) {
  const auto listed = run_({"users"});
  EXPECT_EQ(listed.code, ExitCode::ok) << listed.notes;
  EXPECT_THAT(listed.out, HasSubstr("1000  anna     active      Anna A.\n"));
  EXPECT_THAT(listed.out, HasSubstr("1001  bea\\x1b  signed in   Bea\n"));
  EXPECT_THAT(listed.out, HasSubstr("1002  carl     signed out  carl\n"));
  EXPECT_THAT(run_({"users", "--json"}).out, HasSubstr("\"username\":\"anna\""));
}

TEST_F(UserCommandTest, savesThePicturesOfAccounts) {
  const auto folder = run_.folder().file("faces");
  const auto saved = run_({"users", "--pictures", folder});
  EXPECT_THAT(saved.notes, HasSubstr("1 of 3 pictures saved."));
  EXPECT_TRUE(std::filesystem::exists(folder + "/1000.png"));
}

TEST_F(UserCommandTest, switchesToAUserByNameOrNumber) {
  results_ = {result(UserSwitchStatus::switched)};
  EXPECT_EQ(run_({"switch", "carl"}).code, ExitCode::ok);
  EXPECT_EQ(run_({"switch", "1001"}).code, ExitCode::ok);
  EXPECT_THAT(
      host_.messagesOf<message::SwitchUser>(),
      ElementsAre(message::SwitchUser{{1002, std::nullopt}}, message::SwitchUser{{1001, std::nullopt}}));
  const auto unknown = run_({"switch", "dora"});
  EXPECT_EQ(unknown.code, ExitCode::usage);
  EXPECT_THAT(unknown.notes, HasSubstr("the host has no user 'dora'"));
}

TEST_F(UserCommandTest, passesAPasswordFromStandardInputOn) {
  results_ = {result(UserSwitchStatus::switched), result(UserSwitchStatus::unlockAttempted)};
  const auto switched = run({"switch", "1001", "--unlock"}, "p w\nrest");
  EXPECT_EQ(switched.code, ExitCode::ok) << switched.notes;
  EXPECT_THAT(switched.notes, HasSubstr("The password was typed."));
  EXPECT_THAT(switched.notes, Not(HasSubstr("p w")));
  EXPECT_THAT(host_.messagesOf<message::SwitchUser>(),
              ElementsAre(message::SwitchUser{{1001, SecretText("p w")}}));
}

TEST_F(UserCommandTest, switchesWithoutUnlockingForAnEmptyPassword) {
  results_ = {result(UserSwitchStatus::switched)};
  EXPECT_EQ(run({"switch", "1001", "--unlock"}, "\n").code, ExitCode::ok);
  EXPECT_THAT(host_.messagesOf<message::SwitchUser>(),
              ElementsAre(message::SwitchUser{{1001, std::nullopt}}));
}

TEST_F(UserCommandTest, saysWhyASwitchFailed) {
  results_ = {
      result(UserSwitchStatus::unavailable, "No Fast User Switching mechanism is available on this Mac.")};
  const auto unavailable = run_({"switch", "1001"});
  EXPECT_EQ(unavailable.code, ExitCode::failure);
  EXPECT_THAT(unavailable.notes, HasSubstr("No Fast User Switching"));
  results_ = {result(UserSwitchStatus::switched), result(UserSwitchStatus::notPermitted, "no permission")};
  const auto typed = run({"switch", "1001", "--unlock"}, "p\n");
  EXPECT_EQ(typed.code, ExitCode::refused);
  EXPECT_THAT(typed.notes, HasSubstr("no permission"));
}

TEST_F(UserCommandTest, unlocksAndVerifies) {
  results_ = {result(UserSwitchStatus::unlockAttempted)};
  EXPECT_EQ(run({"unlock"}, "secret\n").code, ExitCode::ok);
  EXPECT_THAT(host_.messagesOf<message::UnlockSession>(),
              ElementsAre(message::UnlockSession{SecretText("secret")}));
  const auto right = run({"verify", "anna"}, "right\r\n");
  EXPECT_EQ(right.code, ExitCode::ok);
  EXPECT_EQ(right.out, "right\n");
  EXPECT_EQ(run({"verify", "anna"}, "wrong").code, ExitCode::refused);
}

TEST_F(UserCommandTest, needsAPasswordFromSomewhere) {
  EXPECT_EQ(run({"verify", "anna"}, "").code, ExitCode::usage);
  EXPECT_EQ(run({"unlock"}, std::string(5'000, 'x')).code, ExitCode::usage);
  run_.inputDescriptor = -1;
  EXPECT_EQ(run_({"unlock"}).code, ExitCode::usage);
  EXPECT_THAT(host_.messagesOf<message::UnlockSession>(), IsEmpty());
}

TEST_F(UserCommandTest, doesNotEchoAPasswordOnATerminal) {
  int master = -1;
  int terminal = -1;
  ASSERT_EQ(::openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
  const Descriptor keyboard(master);
  const Descriptor screen(terminal);
  const auto echoes = [&] {
    termios modes{};
    ::tcgetattr(terminal, &modes);
    return (modes.c_lflag & ECHO) != 0;
  };
  ASSERT_TRUE(echoes());
  run_.inputDescriptor = terminal;
  test::CommandResult checked;
  std::thread person([&] { checked = run_({"verify", "anna"}); });
  const auto deadline = within(std::chrono::seconds(30));
  while (echoes() && Clock::now() < deadline) ::poll(nullptr, 0, 5);
  EXPECT_FALSE(echoes());
  EXPECT_EQ(::write(master, "right\n", 6), 6);
  person.join();
  EXPECT_EQ(checked.out, "right\n");
  EXPECT_TRUE(echoes());
  char shown[64] = {};
  const auto count = ::read(master, shown, sizeof shown);
  EXPECT_EQ(std::string(shown, static_cast<std::size_t>(std::max<ssize_t>(count, 0))), "\r\n");
}

}  // namespace
}  // namespace quorl::client
