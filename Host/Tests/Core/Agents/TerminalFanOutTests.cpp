// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalFanOut.h>

#include <gtest/gtest.h>

#include <deque>
#include <string>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/RecordingSink.h>

namespace quorl {
namespace {

using First = TerminalFanOut::First;

// A client whose transport takes frames only when the test says so. The taken frames are its screen.
class SlowSink final : public test::RecordingSink {
 public:
  void sendFrame(OutgoingFrame frame, Droppable droppable) override {
    EXPECT_EQ(droppable, Droppable::no);
    EXPECT_EQ(frame.type(), FrameType::terminal);
    waiting.push_back(std::move(frame));
    waitingBytes += waiting.back().body().size();
    mostWaiting = std::max(mostWaiting, waitingBytes);
  }
  void take(std::size_t count) {
    for (; count > 0 && !waiting.empty(); --count) {
      taken += textOf(waiting.front().body());
      waitingBytes -= waiting.front().body().size();
      waiting.pop_front();
    }
  }
  void takeAll() { take(waiting.size()); }

  std::deque<OutgoingFrame> waiting;
  std::size_t waitingBytes = 0;
  std::size_t mostWaiting = 0;
  std::string taken;
};

class FanOutTest : public testing::Test {
 protected:
  void join(const std::shared_ptr<SlowSink>& sink, std::shared_ptr<SinkBacklog> backlog,
            First first = First::viewNow) {
    queue.sync([&] { fanOut->join(sink, std::move(backlog), first); });
  }
  void print(const std::string& text) {
    queue.sync([&] {
      screen.scrollback.insert(screen.scrollback.end(), text.begin(), text.end());
      fanOut->deliver(shareBytes(bytesOf(text)));
    });
  }

  SimulatedScheduler scheduler;
  SerialQueue queue{scheduler, "test", QueueRank::service};
  TerminalFanOut::View screen;
  int repaints = 0;
  std::shared_ptr<TerminalFanOut> fanOut = std::make_shared<TerminalFanOut>(
      UUID{{7}}, queue,
      TerminalFanOut::Terminal{.view = [this] { return screen; }, .repaint = [this] { ++repaints; }});
};

TEST_F(FanOutTest, showsTheScrollbackAndThenEveryPieceOnce) {
  print("before ");
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  print("after");
  sink->takeAll();
  EXPECT_EQ(sink->taken, "before after");
}

TEST_F(FanOutTest, sendsNoEmptyHistory) {
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  EXPECT_TRUE(sink->waiting.empty());
}

TEST_F(FanOutTest, asksForARepaintInPlaceOfAReplayOnTheAlternateScreen) {
  print("garbage");
  screen.isAlternateScreen = true;
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  EXPECT_TRUE(sink->waiting.empty());
  EXPECT_EQ(repaints, 1);
}

TEST_F(FanOutTest, sharesOnePieceBetweenAllClients) {
  auto one = std::make_shared<SlowSink>();
  auto two = std::make_shared<SlowSink>();
  join(one, std::make_shared<SinkBacklog>());
  join(two, std::make_shared<SinkBacklog>());
  print("shared");
  ASSERT_EQ(one->waiting.size(), 1U);
  EXPECT_EQ(one->waiting.front().body().data(), two->waiting.front().body().data());
}

TEST_F(FanOutTest, forgetsAClientThatLeavesOrHasGone) {
  auto one = std::make_shared<SlowSink>();
  auto two = std::make_shared<SlowSink>();
  join(one, std::make_shared<SinkBacklog>());
  join(two, std::make_shared<SinkBacklog>());
  queue.sync([&] { fanOut->leave(one.get()); });
  two.reset();
  print("x");
  EXPECT_TRUE(one->waiting.empty());
  queue.sync([&] { EXPECT_FALSE(fanOut->isWatched()); });
}

TEST_F(FanOutTest, sendsNothingToAWaitingClientBeforeItIsShown) {
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>(), First::viewWhenAsked);
  print("early ");
  EXPECT_TRUE(sink->waiting.empty());
  queue.sync([&] { fanOut->show(sink.get()); });
  print("late");
  sink->takeAll();
  EXPECT_EQ(sink->taken, "early late");
}

TEST_F(FanOutTest, losesNotAByteForAClientThatKeepsUp) {
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  std::string all;
  for (int i = 0; i < 2000; ++i) {
    const std::string piece(40'000, static_cast<char>('a' + i % 26));
    all += piece;
    print(piece);
    if (i % 100 == 99) sink->takeAll();  // a backlog of up to 4 MB
    screen.scrollback.clear();
  }
  sink->takeAll();
  EXPECT_TRUE(sink->taken == all);
}

TEST_F(FanOutTest, boundsTheBacklogOfAClientThatReadsNothingAndDelaysNoOther) {
  auto stuck = std::make_shared<SlowSink>();
  auto good = std::make_shared<SlowSink>();
  join(stuck, std::make_shared<SinkBacklog>());
  join(good, std::make_shared<SinkBacklog>());
  const std::string piece(65'536, 'x');
  for (int i = 0; i < 3000; ++i) {
    print(piece);
    good->takeAll();
    good->taken.clear();
    screen.scrollback.assign(200'000, 's');
  }
  EXPECT_LE(stuck->mostWaiting, SinkBacklog::mostLimit + piece.size());
  EXPECT_EQ(good->waiting.size(), 0U);
  print("end");
  good->takeAll();
  EXPECT_EQ(good->taken, "end");
}

TEST_F(FanOutTest, showsAClientThatHasDrainedTheScreenAfreshAndThenEverything) {
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  for (int i = 0; i < 200; ++i) print(std::string(65'536, 'x'));
  screen.scrollback = bytesOf("the last lines\r\n");
  sink->takeAll();
  sink->taken.clear();
  scheduler.runReady();
  print("and on");
  sink->takeAll();
  EXPECT_EQ(sink->taken,
            "\x18\x1b"
            "cthe last lines\r\nand on");
}

TEST_F(FanOutTest, showsAClientOnASlowLinkTheLastLinesOnly) {
  const auto link = std::make_shared<std::atomic<double>>(200'000);
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>(link));
  for (int i = 0; i < 20; ++i) print(std::string(65'536, 'x'));
  EXPECT_LE(sink->mostWaiting, SinkBacklog::leastLimit + 65'536);
  screen.scrollback.clear();
  for (int line = 0; line < 20'000; ++line) {
    const std::string text = "line " + std::to_string(line) + "\r\n";
    screen.scrollback.insert(screen.scrollback.end(), text.begin(), text.end());
  }
  sink->takeAll();
  sink->taken.clear();
  scheduler.runReady();
  sink->takeAll();
  EXPECT_LE(sink->taken.size(), SinkBacklog::leastLimit / 4 + 3);
  EXPECT_GE(sink->taken.size(), SinkBacklog::leastLimit / 4 - 100);
  EXPECT_TRUE(
      sink->taken.starts_with("\x18\x1b"
                              "cline 1"));
  EXPECT_TRUE(sink->taken.ends_with("line 19999\r\n"));
}

TEST_F(FanOutTest, setsTheModesThatTheLeftOutPartOfTheHistoryHasSet) {
  const auto link = std::make_shared<std::atomic<double>>(200'000);
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>(link));
  for (int i = 0; i < 20; ++i) print(std::string(65'536, 'x'));
  screen.modes = bytesOf("\x1b[?25l");
  screen.scrollback = bytesOf("\x1b[?25h\x1b[?2004h");
  for (int line = 0; line < 20'000; ++line) {
    const auto text = bytesOf("line " + std::to_string(line) + "\r\n");
    screen.scrollback.insert(screen.scrollback.end(), text.begin(), text.end());
  }
  sink->takeAll();
  sink->taken.clear();
  scheduler.runReady();
  sink->takeAll();
  const auto modes = sink->taken.substr(0, sink->taken.find("line "));
  EXPECT_NE(modes.find("\x1b[?2004h"), std::string::npos)
      << "a paste of two lines would be sent line by line";
  EXPECT_EQ(modes.find("\x1b[?25l"), std::string::npos) << "the cursor is shown again";
}

TEST_F(FanOutTest, bringsAClientThatHasDrainedBackToTheAlternateScreen) {
  auto sink = std::make_shared<SlowSink>();
  join(sink, std::make_shared<SinkBacklog>());
  for (int i = 0; i < 200; ++i) print(std::string(65'536, 'x'));
  screen.isAlternateScreen = true;
  sink->takeAll();
  sink->taken.clear();
  scheduler.runReady();
  sink->takeAll();
  EXPECT_EQ(sink->taken,
            "\x18\x1b"
            "c\x1b[?1049h");
  EXPECT_EQ(repaints, 1);
}

TEST_F(FanOutTest, waitsUntilTheBacklogIsNearlyEmptyBeforeItShowsAfresh) {
  auto backlog = std::make_shared<SinkBacklog>();
  auto sink = std::make_shared<SlowSink>();
  join(sink, backlog);
  for (int i = 0; i < 200; ++i) print(std::string(65'536, 'x'));
  sink->take(sink->waiting.size() - 8);
  scheduler.runReady();
  const std::size_t left = sink->waiting.size();
  EXPECT_EQ(left, 8U);
  sink->take(4);
  scheduler.runReady();
  EXPECT_EQ(sink->waiting.size(), left - 4 + 1);
}

TEST_F(FanOutTest, replaysNothingToAClientThatAsksAgainAndAgainButDoesNotRead) {
  auto backlog = std::make_shared<SinkBacklog>();
  auto sink = std::make_shared<SlowSink>();
  print(std::string(250'000, 's'));
  for (int i = 0; i < 1000; ++i) join(sink, backlog);
  EXPECT_LE(sink->mostWaiting, SinkBacklog::mostLimit + 250'000);
  queue.sync([&] { EXPECT_TRUE(fanOut->isWatched()); });
}

TEST(SinkBacklog, countsABufferUntilItsLastReferenceHasGone) {
  auto backlog = std::make_shared<SinkBacklog>();
  SharedBytes one = backlog->counted(shareBytes(Bytes(100)));
  SharedBytes copy = one;
  one.reset();
  EXPECT_EQ(backlog->outstanding(), 100U);
  copy.reset();
  EXPECT_EQ(backlog->outstanding(), 0U);
}

TEST(SinkBacklog, isASecondOfTheLink) {
  const auto link = std::make_shared<std::atomic<double>>(0);
  const SinkBacklog backlog(link);
  EXPECT_EQ(backlog.limit(), SinkBacklog::mostLimit) << "an unknown link may be a fast one";
  *link = 100'000;
  EXPECT_EQ(backlog.limit(), SinkBacklog::leastLimit);
  EXPECT_EQ(backlog.drained(), SinkBacklog::leastLimit / 4);
  *link = 625'000;
  EXPECT_EQ(backlog.limit(), 625'000U);
  *link = 1e9;
  EXPECT_EQ(backlog.limit(), SinkBacklog::mostLimit);
}

TEST(SinkBacklog, reportsOnceWhenItHasDrained) {
  auto backlog = std::make_shared<SinkBacklog>();
  int calls = 0;
  SharedBytes big = backlog->counted(shareBytes(Bytes(SinkBacklog::mostLimit + 1)));
  EXPECT_TRUE(backlog->isOverLimit());
  backlog->whenDrained([&] { ++calls; });
  EXPECT_EQ(calls, 0);
  big.reset();
  EXPECT_EQ(calls, 1);
  backlog->counted(shareBytes(Bytes(1))).reset();
  EXPECT_EQ(calls, 1);
  backlog->whenDrained([&] { ++calls; });
  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace quorl
