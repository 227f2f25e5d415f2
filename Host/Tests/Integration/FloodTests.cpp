// SPDX-License-Identifier: GPL-3.0-or-later
// Complete connections over real sockets, with peers that request
// more than they read.
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <QuorlHostCore/Input/InputInjector.h>
#include <QuorlHostCore/Session/ClientConnection.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <Support/Eventually.h>
#include <Support/FakePlatform.h>

namespace quorl::test {
namespace {

Bytes numbered(FrameType type, std::uint32_t from, std::uint32_t to) {
  ByteWriter writer;
  for (std::uint32_t number = from; number < to; ++number) {
    writer.putBytes(frameHeader(type, sizeof number));
    writer.put(number);
  }
  return writer.take();
}

constexpr std::size_t answerSize = frameHeaderSize + sizeof(std::uint32_t);

class FloodTest : public ::testing::Test {
 protected:
  FloodTest() {
    Platform platform = fakes_.platform();
    platform.scheduler = &host_.queue().scheduler();
    services_->platform = platform;
    services_->trustStore = std::make_shared<TrustStore>(platform, std::nullopt);
    services_->injector = std::make_shared<InputInjector>(
        platform, [store = services_->trustStore] { return store->settings(); });
    services_->pairing = std::make_shared<PairingState>(*platform.scheduler, platform.random, "123456");
  }
  ~FloodTest() override {
    connection_->close();
    EXPECT_TRUE(eventually([this] { return closed_.load(); }));
    connection_->queue().sync([] {});
  }
  void begin(std::unique_ptr<NetworkConnection> end) {
    connection_ = std::make_shared<ClientConnection>(std::move(end), services_);
    connection_->onClose([this](ClientConnection&) { closed_ = true; });
    connection_->start();
  }
  std::size_t queuedAnswers() const { return connection_->outstandingBytes() / answerSize; }

  ListeningHost host_;
  SimulatedScheduler simulation_;  // for the ports that an unauthenticated peer does not reach
  FakePlatform fakes_{simulation_};
  std::shared_ptr<HostServices> services_ = std::make_shared<HostServices>();
  std::shared_ptr<ClientConnection> connection_;
  std::atomic<bool> closed_{false};
};

TEST_F(FloodTest, isReadInPiecesAndAnsweredCompletelyAndInOrder) {
  // More answers than fit into the system's buffers.
  constexpr std::uint32_t count = 800'000;
  constexpr std::size_t most =
      ClientConnection::unauthenticatedBacklog / (answerSize + ClientConnection::frameOverhead) + 1;
  LoopbackPeer peer(host_.port());
  const int small = 262'144;
  ::setsockopt(peer.descriptor(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  begin(host_.accept());
  bool isWritten = false;
  std::jthread writer([&] { isWritten = peer.write(numbered(FrameType::ping, 0, count)); });

  EXPECT_TRUE(eventually([&] { return queuedAnswers() == most; }, patience)) << queuedAnswers();
  std::uint32_t answered = 0;
  while (answered < count) {
    const std::uint32_t next = std::min(answered + 10'000, count);
    const Bytes expected = numbered(FrameType::pong, answered, next);
    ASSERT_EQ(peer.read(expected.size()), expected) << answered;
    answered = next;
    EXPECT_LE(queuedAnswers(), most);
  }
  writer.join();
  EXPECT_TRUE(isWritten);
  EXPECT_TRUE(eventually([&] { return queuedAnswers() == 0; }));
}

}  // namespace
}  // namespace quorl::test
