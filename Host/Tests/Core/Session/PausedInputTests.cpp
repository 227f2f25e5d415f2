// SPDX-License-Identifier: GPL-3.0-or-later
// A client that asks and does not read its answers: the host stops reading from it, even within one read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlKit/Protocol/Bytes.h>
#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

// The share of an empty answer in the backlog.
constexpr std::size_t answerCost = frameHeaderSize + ClientConnection::frameOverhead;

class PausedInputTest : public SessionFixture {
 protected:
  static void append(Bytes& stream, FrameType type, ByteView payload) {
    const Bytes frame = Frame{type, Bytes(payload.begin(), payload.end())}.encoded();
    stream.insert(stream.end(), frame.begin(), frame.end());
  }
  static Bytes payloadOf(std::uint32_t number) {
    ByteWriter writer;
    writer.put(number);
    return writer.take();
  }
  static Bytes emptyPings(std::size_t count) {
    Bytes stream;
    for (std::size_t index = 0; index < count; ++index) append(stream, FrameType::ping, {});
    return stream;
  }
  static Bytes numberedPings(std::uint32_t count) {
    Bytes stream;
    for (std::uint32_t number = 0; number < count; ++number)
      append(stream, FrameType::ping, payloadOf(number));
    return stream;
  }
  static std::vector<Frame> numberedPongs(std::uint32_t count) {
    std::vector<Frame> frames;
    for (std::uint32_t number = 0; number < count; ++number)
      frames.push_back({FrameType::pong, payloadOf(number)});
    return frames;
  }
  // As many as fit into one read.
  static constexpr std::size_t readful = ClientConnection::receiveMaximum / frameHeaderSize;
};

TEST_F(PausedInputTest, boundsTheAnswersThatOneReadOfAStrangerQueues) {
  FakeClient client = connect();
  client.peer->setReading(false);
  client.peer->write(emptyPings(readful));
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 0U) << "one read took all of it";
  const std::size_t queued = connection_->outstandingBytes() / frameHeaderSize;
  EXPECT_EQ(queued, ClientConnection::unauthenticatedBacklog / answerCost + 1);
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->takeFrames().size(), readful);
}

TEST_F(PausedInputTest, boundsTheAnswersThatOneReadOfAClientQueues) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  client.peer->write(emptyPings(readful));
  simulation_.runReady();
  EXPECT_EQ(client.peer->unreadBytes(), 0U);
  const std::size_t queued = connection_->outstandingBytes() / frameHeaderSize;
  EXPECT_EQ(queued, ClientConnection::backpressureThreshold / answerCost + 1);
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->takeFrames().size(), readful);
}

TEST_F(PausedInputTest, losesAndReordersNothingForAnyReadsAndPauses) {
  constexpr std::uint32_t count = 20'000;
  for (std::uint64_t seed = 1; seed <= 5; ++seed) {
    platform_.network->makeFlaky(std::make_shared<Flakiness>(seed));
    FakeClient client = connect();
    client.peer->write(numberedPings(count));
    std::vector<Frame> answers;
    std::mt19937_64 random(seed);
    const MonotonicTime deadline = simulation_.now() + std::chrono::hours(1);
    while (answers.size() < count && simulation_.now() < deadline) {
      client.peer->setReading(random() % 3 == 0);
      simulation_.advance(std::chrono::milliseconds(random() % 50));
      for (Frame& frame : client.peer->takeFrames()) answers.push_back(std::move(frame));
    }
    EXPECT_EQ(answers, numberedPongs(count)) << seed;
    simulation_.advance(std::chrono::minutes(1));
    EXPECT_EQ(connection_->outstandingBytes(), 0U);
  }
}

TEST_F(PausedInputTest, answersAllOfAClientThatHasFinishedBeforeItEnds) {
  FakeClient client = connect();
  client.peer->setReading(false);
  client.peer->write(numberedPings(10'000));
  client.peer->finish();
  simulation_.runReady();
  EXPECT_EQ(closes_, 0) << "most of it still waits";
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->takeFrames(), numberedPongs(10'000));
  EXPECT_EQ(closes_, 1);
}

TEST_F(PausedInputTest, dropsTheRestOfAClientThatIsGone) {
  FakeClient client = connect();
  client.peer->setReading(false);
  client.peer->write(emptyPings(readful));
  simulation_.runReady();
  client.peer->fail("Connection reset by peer");
  simulation_.runReady();
  EXPECT_EQ(closes_, 1);
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(client.peer->sendsAfterCancel(), 0U);
  const std::weak_ptr<ClientConnection> weak = connection_;
  connection_.reset();
  EXPECT_TRUE(weak.expired());
}

TEST_F(PausedInputTest, keepsItsQueueFreeMeanwhile) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  client.peer->write(emptyPings(readful));
  simulation_.runReady();
  EXPECT_FALSE(connection_->isBackpressured()) << "many answers, few bytes";
  EXPECT_EQ(connection_->summary().name, "Tablet");
  const std::size_t before = connection_->outstandingBytes();
  connection_->sendControl(message::SessionClosed{.reason = "x"});
  simulation_.runReady();
  EXPECT_GT(connection_->outstandingBytes(), before);
  connection_->close();
  simulation_.runReady();
  EXPECT_EQ(closes_, 1);
}

TEST_F(PausedInputTest, dispatchesTheFramesAfterAByeInTheRestAndDropsTheirAnswers) {
  FakeClient client = connectAuthenticated();
  client.peer->setReading(false);
  constexpr std::size_t many = 60'000;
  Bytes stream = emptyPings(many);
  append(stream, FrameType::control, *ControlCoder::encode(message::Bye{}));
  append(stream, FrameType::control, *ControlCoder::encode(message::InsertText{"late"}));
  append(stream, FrameType::ping, {});
  ASSERT_LT(stream.size(), ClientConnection::receiveMaximum);
  client.peer->write(stream);
  simulation_.runReady();
  EXPECT_EQ(closes_, 0);
  EXPECT_TRUE(platform_.events->posted.empty());
  client.peer->setReading(true);
  simulation_.runReady();
  EXPECT_EQ(closes_, 1);
  EXPECT_FALSE(platform_.events->posted.empty()) << "dispatched";
  EXPECT_EQ(client.peer->takeFrames().size(), many);
  EXPECT_EQ(client.peer->sendsAfterCancel(), 0U);
}

TEST_F(PausedInputTest, judgesARestBeforeItWaits) {
  FakeClient client = connect();
  client.peer->setReading(false);
  Bytes stream = emptyPings(10'000);
  stream.insert(stream.end(), {0x05, 0, 0, 0, 0});
  client.peer->write(stream);
  simulation_.runReady();
  EXPECT_EQ(closes_, 1);
  EXPECT_EQ(connection_->outstandingBytes(), 0U) << "nothing of a read with a bad header is dispatched";
  EXPECT_TRUE(log_.has(LogLevel::error, "server", "deframe error: unknownType(5)"));
}

}  // namespace
}  // namespace quorl::test
