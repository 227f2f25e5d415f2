// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/ResizePacer.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const Clock::time_point start{seconds(1000)};

TEST(ResizePacer, sendsTheFirstSizeAtOnceAndNoneTwice) {
  ResizePacer pacer;
  EXPECT_FALSE(pacer.take(start));
  pacer.note({80, 24});
  EXPECT_EQ(pacer.take(start), (TerminalSize{80, 24}));
  pacer.note({80, 24});
  EXPECT_FALSE(pacer.due());
  EXPECT_FALSE(pacer.take(start + seconds(1)));
}

TEST(ResizePacer, sendsOneSizePerIntervalAndTheLastOne) {
  ResizePacer pacer;
  int told = 0;
  std::optional<TerminalSize> last;
  for (int step = 0; step <= 200; ++step) {
    pacer.note({80 + step, 24});
    if (const auto size = pacer.take(start + milliseconds(step))) {
      ++told;
      last = size;
    }
  }
  EXPECT_EQ(told, 5);
  ASSERT_TRUE(pacer.due() || last == (TerminalSize{280, 24}));
  if (const auto due = pacer.due()) last = pacer.take(*due);
  EXPECT_EQ(last, (TerminalSize{280, 24}));
}

TEST(ResizePacer, sendsNothingIfTheSizeChangedBack) {
  ResizePacer pacer;
  pacer.note({80, 24});
  pacer.take(start);
  pacer.note({81, 24});
  pacer.note({80, 24});
  EXPECT_FALSE(pacer.due());
}

TEST(ResizePacer, sendsTheSizeToANewConnection) {
  ResizePacer pacer;
  pacer.note({80, 24});
  pacer.take(start);
  pacer.forgetWhatWasSent();
  EXPECT_EQ(pacer.take(start + seconds(1)), (TerminalSize{80, 24}));
}

}  // namespace
}  // namespace quorl::client
