// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/Listeners.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using Reach = ListeningSocket::Reach;

ListeningSocket socket(std::uint16_t port, Reach reach, std::int32_t pid = 1) {
  return {.port = port, .processName = "p", .pid = pid, .reach = reach};
}
Listener listener(std::uint16_t port, bool loopbackOnly, std::int32_t pid = 1) {
  return {.port = port, .processName = "p", .pid = pid, .loopbackOnly = loopbackOnly};
}

TEST(Listeners, areSortedByPort) {
  EXPECT_THAT(listenersByPort({socket(90, Reach::loopback), socket(80, Reach::everywhere)}),
              ElementsAre(listener(80, false), listener(90, true)));
}

TEST(Listeners, leaveOutASocketOnOneAddressOnly) {
  EXPECT_THAT(listenersByPort({socket(8080, Reach::oneAddress), socket(80, Reach::everywhere)}),
              ElementsAre(listener(80, false)));
}

TEST(Listeners, onLoopbackAndAllAddressesAreNotLoopbackOnlyInEitherOrder) {
  EXPECT_THAT(listenersByPort({socket(80, Reach::loopback, 1), socket(80, Reach::everywhere, 2)}),
              ElementsAre(listener(80, false, 2)));
  EXPECT_THAT(listenersByPort({socket(80, Reach::everywhere, 2), socket(80, Reach::loopback, 1)}),
              ElementsAre(listener(80, false, 2)));
}

TEST(Listeners, showTheFirstSocketOnAllAddressesAndElseTheLastOnTheLoopback) {
  EXPECT_THAT(listenersByPort({socket(80, Reach::everywhere, 1), socket(80, Reach::everywhere, 2)}),
              ElementsAre(listener(80, false, 1)));
  EXPECT_THAT(listenersByPort({socket(80, Reach::loopback, 1), socket(80, Reach::loopback, 2)}),
              ElementsAre(listener(80, true, 2)));
}

}  // namespace
}  // namespace quorl::test
