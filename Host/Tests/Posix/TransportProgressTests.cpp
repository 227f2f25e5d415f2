// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>

#include <gtest/gtest.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class TransportProgressTest : public testing::Test {
 protected:
  void connect() {
    peer_.emplace(host_.port());
    connection_ = host_.accept();
    ASSERT_TRUE(connection_);
    connection_->start(host_.queue(), [](NetworkConnection::State, const PortError&) {});
  }
  void send(std::size_t frames, std::size_t size) {
    for (std::size_t count = 0; count < frames; ++count) {
      const OutgoingFrame frame = OutgoingFrame::raw(FrameType::terminal, shareBytes(Bytes(size)));
      connection_->send(frame, [this, bytes = frame.size()](std::optional<PortError> error) {
        if (!error) taken_ += bytes;
      });
    }
  }

  std::atomic<std::size_t> taken_{0};
  ListeningHost host_;
  std::optional<LoopbackPeer> peer_;
  std::unique_ptr<NetworkConnection> connection_;
};

TEST_F(TransportProgressTest, countsEverythingOnceThePeerHasIt) {
  connect();
  EXPECT_EQ(connection_->progress().acknowledged, 0U);
  send(10, 5'000);
  const std::size_t all = 10 * (5'000 + frameHeaderSize);
  EXPECT_EQ(peer_->read(all).size(), all);
  EXPECT_TRUE(eventually([&] { return connection_->progress().acknowledged == all; }));
  EXPECT_GT(connection_->progress().shortestRoundTrip.count(), 0);
}

TEST_F(TransportProgressTest, countsLessThanWasSentToAPeerThatDoesNotRead) {
  connect();
  constexpr std::size_t all = 2'000 * (16'384 + frameHeaderSize);
  send(2'000, 16'384);
  // More than both kernels buffer.
  EXPECT_TRUE(eventually([&] { return connection_->progress().acknowledged > 0; }));
  EXPECT_LT(connection_->progress().acknowledged, all);
  EXPECT_EQ(peer_->read(all).size(), all);
  EXPECT_TRUE(eventually([&] { return connection_->progress().acknowledged == all; }));
}

TEST_F(TransportProgressTest, leavesLittleInTheKernelWithALimit) {
  connect();
  connection_->limitUnsent(65'536);
  constexpr std::size_t frame = 16'384 + frameHeaderSize;
  send(4'000, 16'384);
  std::size_t before = 1;
  // Until the peer's window is closed.
  EXPECT_TRUE(eventually([&] {
    const std::size_t now = connection_->progress().acknowledged;
    return now > 0 && now == std::exchange(before, now);
  }));
  const std::size_t inKernel = taken_ - connection_->progress().acknowledged;
  // The kernel counts in buffers; without the limit it takes megabytes.
  EXPECT_LE(inKernel, 262'144U);
  EXPECT_EQ(peer_->read(4'000 * frame).size(), 4'000 * frame) << "nothing is stuck";
}

TEST_F(TransportProgressTest, knowsTheAddressOfThisEnd) {
  connect();
  const auto local = connection_->localEndpoint();
  ASSERT_TRUE(local);
  EXPECT_EQ(local->host, "127.0.0.1");
  EXPECT_EQ(local->port, host_.port());
  connection_->cancel();
  EXPECT_FALSE(connection_->localEndpoint());
}

}  // namespace
}  // namespace quorl::test
