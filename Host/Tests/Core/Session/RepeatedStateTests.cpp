// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/RepeatedState.h>

#include <gtest/gtest.h>

namespace quorl::test {
namespace {

constexpr std::size_t largeState = 70'000;
constexpr double slowLink = 250'000;     // 2 Mbit/s: 280 ms for the large state
constexpr double fastLink = 12'500'000;  // 100 Mbit/s: 6 ms

TEST(RepeatedState, isLeftOutOnASlowLink) {
  RepeatedState states;
  EXPECT_TRUE(states.isToBeSent(1, largeState, slowLink));
  EXPECT_FALSE(states.isToBeSent(1, largeState, slowLink));
  EXPECT_TRUE(states.isToBeSent(2, largeState, slowLink)) << "something changed";
  EXPECT_FALSE(states.isToBeSent(2, largeState, slowLink));
}

TEST(RepeatedState, isSentOnAFastLinkAndOnOneOfUnknownRate) {
  RepeatedState states;
  for (int push = 0; push < 3; ++push) {
    EXPECT_TRUE(states.isToBeSent(1, largeState, fastLink));
    EXPECT_TRUE(states.isToBeSent(1, largeState, 0));
  }
}

TEST(RepeatedState, isSentWhereItIsSmall) {
  RepeatedState states;
  const auto largest = static_cast<std::size_t>(slowLink * RepeatedState::longestRepetition);
  for (int push = 0; push < 3; ++push) EXPECT_TRUE(states.isToBeSent(1, largest, slowLink));
  EXPECT_FALSE(states.isToBeSent(1, largest + 1, slowLink));
}

TEST(RepeatedState, ofUnknownContentIsAlwaysSent) {
  RepeatedState states;
  EXPECT_TRUE(states.isToBeSent(0, largeState, slowLink));
  EXPECT_TRUE(states.isToBeSent(0, largeState, slowLink));
}

}  // namespace
}  // namespace quorl::test
