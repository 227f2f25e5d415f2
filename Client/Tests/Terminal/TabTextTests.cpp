// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/TabText.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

TEST(TabText, distinguishesARepaintFromNewLines) {
  TabText tab;
  tab.begin(viewOf("one\r\ntwo\r\nthinking |"));
  EXPECT_TRUE(tab.takeIsRepeat(viewOf("one\r\ntwo\r\nthinking /\r\n")));
  EXPECT_TRUE(tab.takeIsRepeat(viewOf("one\r\ntwo\r\nthinking -\r\n")));
  EXPECT_FALSE(tab.takeIsRepeat(viewOf("three\r\nfour\r\n")));
  EXPECT_TRUE(tab.takeIsRepeat(viewOf("one\r\ntwo\r\ndone\r\nthree\r\nfour!\r\n")));
}

TEST(TabText, acceptsRepeatedLinesAsNew) {
  TabText tab;
  tab.begin(viewOf("y\r\ny\r\ny\r\ny"));
  EXPECT_FALSE(tab.takeIsRepeat(viewOf("y\r\n")));
  EXPECT_FALSE(TabText().takeIsRepeat(viewOf("first\r\n")));
}

TEST(TabText, returnsTheEndOfAText) {
  EXPECT_EQ(textOf(TabText::lastLines(viewOf("a\r\nb\r\nc\r\n"), 2)), "b\r\nc");
  EXPECT_EQ(textOf(TabText::lastLines(viewOf("a\r\nb"), 9)), "a\r\nb");
  EXPECT_EQ(textOf(TabText::lastLines({}, 3)), "");
}

}  // namespace
}  // namespace quorl::client
