// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Power/SystemTools.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

TEST(SystemTools, areNamedByAbsolutePaths) {
  EXPECT_EQ(SystemTools::setVolume(44),
            (ToolCall{"/usr/bin/osascript", {"-e", "set volume output volume 44"}}));
  EXPECT_EQ(SystemTools::sleepDisplays(), (ToolCall{"/usr/bin/pmset", {"displaysleepnow"}}));
  EXPECT_EQ(SystemTools::lockScreen(),
            (ToolCall{"/usr/bin/osascript",
                      {"-e",
                       "tell application \"System Events\" to keystroke \"q\" using {command down, control "
                       "down}"}}));
}

}  // namespace
}  // namespace quorl
