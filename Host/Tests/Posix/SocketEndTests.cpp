// SPDX-License-Identifier: GPL-3.0-or-later
// How connections end.
#include <atomic>

#include <gtest/gtest.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

using State = NetworkConnection::State;

TEST(SocketConnectionEnd, cancelDeliversTheLastFrameAndAnOrderlyEnd) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  const auto frame = frameOf(pattern(300));
  connection->send(frame, {});
  connection->cancel();
  EXPECT_EQ(peer.readAll(), frame.encoded());
  EXPECT_EQ(peer.end(), LoopbackPeer::End::finished);
}

TEST(SocketConnectionEnd, cancelDeliversTheLastFrameDespiteUnreadInput) {
  // Closing a socket with unread input makes the kernel reset the connection, and the reset may overtake and
  // destroy the frame. Many rounds, because a lost frame is a matter of timing.
  for (int round = 0; round < 50; ++round) {
    ListeningHost host;
    LoopbackPeer peer(host.port());
    ASSERT_TRUE(peer.write(pattern(200'000)));
    const auto connection = host.accept();
    connection->start(host.queue(), {});
    const auto frame = frameOf(pattern(300));
    connection->send(frame, {});
    connection->cancel();
    ASSERT_EQ(peer.readAll(), frame.encoded()) << "round " << round;
    ASSERT_EQ(peer.end(), LoopbackPeer::End::finished) << "round " << round;
  }
}

TEST(SocketConnectionEnd, aPeerThatKeepsSendingAfterCancelIsDisconnectedLater) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  connection->cancel();
  const Bytes chunk = pattern(1'048'576);
  EXPECT_TRUE(eventually([&] { return !peer.write(chunk); }));
}

TEST(SocketConnectionEnd, aPeerThatStaysSilentAfterCancelIsClosedAfterAWhile) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  connection->cancel();
  EXPECT_TRUE(peer.readAll().empty());
  // The host's side is half closed now. Once it is closed, a write causes a reset.
  EXPECT_TRUE(eventually([&] { return !peer.write(pattern(1)); }));
}

TEST(SocketConnectionEnd, afterCancelTheStateHandlerRunsAndNoCompletion) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  std::atomic<int> receives = 0;
  std::atomic<int> sends = 0;
  std::atomic<int> cancelled = 0;
  connection->start(host.queue(),
                    [&](State state, const PortError&) { cancelled += state == State::cancelled; });
  host.queue().sync([&] {
    connection->receive(100, [&](ByteView, bool, std::optional<PortError>) { ++receives; });
    connection->send(frameOf(pattern(10)), [&](std::optional<PortError>) { ++sends; });
    connection->cancel();
    connection->cancel();
    connection->send(frameOf(pattern(10)), [&](std::optional<PortError>) { ++sends; });
    connection->receive(100, [&](ByteView, bool, std::optional<PortError>) { ++receives; });
  });
  peer.readAll();
  EXPECT_TRUE(eventually([&] { return cancelled == 1; }));
  host.queue().sync([] {});
  EXPECT_EQ(receives, 0);
  EXPECT_EQ(sends, 0);
  EXPECT_EQ(cancelled, 1);
}

TEST(SocketConnectionEnd, destructionIsSilentAndStillDeliversWhatWasAccepted) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  auto connection = host.accept();
  std::atomic<int> callbacks = 0;
  connection->start(host.queue(), [&](State state, const PortError&) { callbacks += state != State::ready; });
  const auto frame = frameOf(pattern(10));
  host.queue().sync([&] {
    connection->receive(100, [&](ByteView, bool, std::optional<PortError>) { ++callbacks; });
    connection->send(frame, [&](std::optional<PortError>) { ++callbacks; });
    connection.reset();
  });
  EXPECT_EQ(peer.readAll(), frame.encoded());
  host.queue().sync([] {});
  EXPECT_EQ(callbacks, 0);
}

TEST(SocketConnectionEnd, mayBeDestroyedByItsOwnCallbacks) {
  for (int round = 0; round < 20; ++round) {
    ListeningHost host;
    LoopbackPeer peer(host.port());
    auto connection = host.accept();
    connection->start(host.queue(), {});
    connection->receive(100, [&](ByteView bytes, bool, std::optional<PortError>) {
      EXPECT_EQ(bytes.size(), 3U);
      connection.reset();
      EXPECT_EQ(bytes[2], pattern(3)[2]);  // the view outlives the connection
    });
    ASSERT_TRUE(peer.write(pattern(3)));
    EXPECT_TRUE(peer.readAll().empty());
    EXPECT_EQ(peer.end(), LoopbackPeer::End::finished);
    host.queue().sync([&] { EXPECT_FALSE(connection); });
  }
}

TEST(SocketConnectionEnd, aResetFailsTheReceiveAndThenTheConnection) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  std::vector<std::string> events;  // belongs to the queue
  connection->start(host.queue(), [&](State state, const PortError& error) {
    if (state == State::failed) events.push_back("failed: " + error.description);
  });
  connection->receive(100, [&](ByteView bytes, bool isComplete, std::optional<PortError> error) {
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(isComplete);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->status, ECONNRESET);
    events.push_back("receive");
  });
  peer.reset();
  EXPECT_TRUE(eventually([&] { return host.queue().sync([&] { return events.size(); }) == 2; }));
  EXPECT_EQ(events, (std::vector<std::string>{"receive", "failed: Connection reset by peer"}));
}

TEST(SocketConnectionEnd, aSendToAPeerThatHasGoneFailsWithoutASignal) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  std::atomic<bool> failed = false;
  connection->start(host.queue(),
                    [&](State state, const PortError&) { failed = failed || state == State::failed; });
  peer.close();
  std::atomic<int> errors = 0;
  EXPECT_TRUE(eventually([&] {
    connection->send(frameOf(pattern(1000)),
                     [&](std::optional<PortError> error) { errors += error.has_value(); });
    return errors > 0 && failed;
  }));
  connection->cancel();
  host.queue().sync([] {});
}

TEST(SocketConnectionEnd, theNetworkReportsWhenAllConnectionsHaveEnded) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  EXPECT_FALSE(host.network().waitUntilConnectionsEnd(std::chrono::milliseconds(20)));
  connection->cancel();
  EXPECT_TRUE(host.network().waitUntilConnectionsEnd(patience));
}

}  // namespace
}  // namespace quorl::test
