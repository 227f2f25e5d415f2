// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/SecretText.h>

#include <array>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <QuorlKit/Models/UserModels.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {
namespace {

TEST(SecretText, keepsItsTextThroughCopiesAndMoves) {
  SecretText first("pass wörd");
  SecretText copy(first);
  SecretText moved(std::move(first));
  EXPECT_TRUE(first.isEmpty());
  EXPECT_EQ(copy, moved);
  copy = SecretText("other");
  EXPECT_NE(copy, moved);
  copy = moved;
  EXPECT_EQ(copy.view(), moved.view());
  const SecretText& same = copy;
  copy = same;
  EXPECT_EQ(copy, moved);
  EXPECT_TRUE(SecretText("").isEmpty());
}

TEST(SecretText, overwritesMemory) {
  std::array<char, 8> memory;
  memory.fill('x');
  overwrite(memory);
  EXPECT_EQ(std::memchr(memory.data(), 'x', memory.size()), nullptr);
}

TEST(SecretText, isTextInMessages) {
  const auto json = std::string(R"({"verifyCredentials":{"_0":{"username":"a","password":"x\"\u00e9\n"}}})");
  const auto message = ControlCoder::decode(viewOf(json));
  ASSERT_TRUE(message);
  const auto& check = std::get<message::VerifyCredentials>(*message)._0;
  EXPECT_EQ(check.password.view(), "x\"é\n");
  const auto again = ControlCoder::encode(*message);
  ASSERT_TRUE(again);
  EXPECT_EQ(ControlCoder::decode(*again), message);
}

TEST(SecretText, marksTheMessagesThatHoldOne) {
  EXPECT_TRUE(holdsSecret(message::UnlockSession{SecretText("p")}));
  EXPECT_TRUE(holdsSecret(message::VerifyCredentials{{"anna", SecretText("p")}}));
  EXPECT_TRUE(holdsSecret(message::SwitchUser{{502, SecretText("p")}}));
  EXPECT_FALSE(holdsSecret(message::SwitchUser{{502, std::nullopt}}));
  EXPECT_FALSE(holdsSecret(message::RequestUserList{}));
}

}  // namespace
}  // namespace quorl
