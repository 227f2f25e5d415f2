// SPDX-License-Identifier: GPL-3.0-or-later
// Connections that the host opens.
#include <atomic>
#include <future>
#include <set>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <QuorlHostPosix/SocketAddress.h>
#include <QuorlHostPosix/SocketConnect.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

using State = NetworkConnection::State;

// A network without a listener, and the queue of its connections.
class Opener {
 public:
  ~Opener() {
    queue.sync([] {});
    network.reset();
  }

  PoolScheduler scheduler;
  SerialQueue queue{scheduler, "test.opener", QueueRank::adapter};
  std::unique_ptr<SocketNetwork> network = std::make_unique<SocketNetwork>();
};

// The first state of a connection to `peer`.
std::optional<State> firstState(Opener& opener, const HostPort& peer) {
  const auto result = std::make_shared<std::promise<State>>();
  auto future = result->get_future();
  const auto connection = opener.network->connect(peer);
  connection->start(opener.queue, [result, first = true](State state, const PortError&) mutable {
    if (std::exchange(first, false)) result->set_value(state);
  });
  if (future.wait_for(patience) != std::future_status::ready) return std::nullopt;
  return future.get();
}

// A listener whose backlog is full, so that the kernel drops further attempts.
class FullListener {
 public:
  FullListener() : port_(freePort()), socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const auto address = socketAddressFor({"127.0.0.1", port_}, NameLookup::numericOnly);
    if (::bind(socket_.get(), address->get(), address->size) != 0 || ::listen(socket_.get(), 0) != 0) return;
    for (auto& waiting : waiting_) {
      waiting = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      ::connect(waiting.get(), address->get(), address->size);
    }
  }
  std::uint16_t port() const { return port_; }

 private:
  std::uint16_t port_;
  Descriptor socket_;
  std::array<Descriptor, 4> waiting_;
};

TEST(OutgoingConnection, carriesBytesInBothDirections) {
  ListeningHost host;
  Opener opener;
  const auto connection = opener.network->connect({"127.0.0.1", host.port()});
  std::promise<std::string> received;
  connection->receive(100, [&](ByteView bytes, bool, std::optional<PortError>) {
    opener.queue.assertCurrent();
    received.set_value(textOf(bytes));
  });
  connection->start(opener.queue, {});
  const auto accepted = host.accept();
  ASSERT_TRUE(accepted);
  accepted->start(host.queue(), {});
  std::promise<std::string> question;
  accepted->receive(100, [&](ByteView bytes, bool, std::optional<PortError>) {
    question.set_value(textOf(bytes));
    accepted->sendBytes(shareBytes(bytesOf("answer")), {});
  });
  connection->sendBytes(shareBytes(bytesOf("question")), {});
  EXPECT_EQ(question.get_future().get(), "question");
  EXPECT_EQ(received.get_future().get(), "answer");
  EXPECT_EQ(connection->remoteEndpoint(), (HostPort{"127.0.0.1", host.port()}));
  EXPECT_EQ(connection->localEndpoint()->port, accepted->remoteEndpoint()->port);
}

TEST(OutgoingConnection, beginsNothingBeforeItsStart) {
  ListeningHost host;
  Opener opener;
  const auto early = opener.network->connect({"127.0.0.1", host.port()});
  LoopbackPeer later(host.port());
  const auto first = host.accept();
  ASSERT_TRUE(first);
  EXPECT_FALSE(early->localEndpoint());
  early->start(opener.queue, {});
  const auto second = host.accept();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->remoteEndpoint(), early->localEndpoint());
}

TEST(OutgoingConnection, sendsWhatWasSentBeforeItsStartOnceItIsEstablished) {
  ListeningHost host;
  Opener opener;
  const auto connection = opener.network->connect({"127.0.0.1", host.port()});
  const Bytes sent = pattern(300'000);
  std::promise<bool> taken;
  connection->sendBytes(shareBytes(sent), [&](std::optional<PortError> error) { taken.set_value(!error); });
  connection->start(opener.queue, {});
  const auto accepted = host.accept();
  ASSERT_TRUE(accepted);
  accepted->start(host.queue(), {});
  Bytes received;  // belongs to the host's queue
  std::function<void()> read = [&] {
    accepted->receive(65'536, [&](ByteView bytes, bool isComplete, std::optional<PortError> error) {
      received.insert(received.end(), bytes.begin(), bytes.end());
      if (!isComplete && !error) read();
    });
  };
  read();
  EXPECT_TRUE(eventually([&] { return host.queue().sync([&] { return received.size(); }) == sent.size(); }));
  EXPECT_EQ(received, sent);
  EXPECT_TRUE(taken.get_future().get());
}

TEST(OutgoingConnection, failsWhenThePeerRefuses) {
  Opener opener;
  EXPECT_EQ(firstState(opener, {"127.0.0.1", freePort()}), State::failed);
}

TEST(OutgoingConnection, failsWhenThePeerIsUnreachable) {
  Opener opener;
  EXPECT_EQ(firstState(opener, {"255.255.255.255", 80}), State::failed);
}

TEST(OutgoingConnection, failsWithoutANumericAddress) {
  Opener opener;
  EXPECT_EQ(firstState(opener, {"localhost", 80}), State::failed);
}

TEST(OutgoingConnection, aRefusalCompletesWhatWaitsBeforeItIsReported) {
  Opener opener;
  const auto connection = opener.network->connect({"127.0.0.1", freePort()});
  std::vector<std::string> events;  // belongs to the queue
  connection->receive(
      100, [&](ByteView, bool, std::optional<PortError> error) { events.push_back(error ? "receive" : ""); });
  connection->sendBytes(shareBytes(bytesOf("x")),
                        [&](std::optional<PortError> error) { events.push_back(error ? "send" : ""); });
  connection->start(opener.queue, [&](State state, const PortError& error) {
    events.push_back(state == State::failed && error.status != 0 ? "failed" : "");
  });
  EXPECT_TRUE(eventually([&] { return opener.queue.sync([&] { return events.size(); }) == 3; }));
  EXPECT_EQ(events, (std::vector<std::string>{"receive", "send", "failed"}));
}

TEST(OutgoingConnection, cancelWhileConnectingReportsOnlyTheCancellation) {
  FullListener full;
  Opener opener;
  const auto connection = opener.network->connect({"127.0.0.1", full.port()});
  std::promise<State> first;
  std::atomic<int> completions = 0;
  connection->receive(100, [&](ByteView, bool, std::optional<PortError>) { ++completions; });
  connection->sendBytes(shareBytes(bytesOf("x")), [&](std::optional<PortError>) { ++completions; });
  connection->start(opener.queue, [&](State state, const PortError&) { first.set_value(state); });
  connection->cancel();
  EXPECT_EQ(first.get_future().get(), State::cancelled);
  EXPECT_EQ(completions, 0);
  EXPECT_TRUE(opener.network->waitUntilConnectionsEnd(patience));
}

TEST(OutgoingConnection, isDestroyedQuietlyWhileConnecting) {
  FullListener full;
  Opener opener;
  std::atomic<int> states = 0;
  {
    const auto connection = opener.network->connect({"127.0.0.1", full.port()});
    connection->start(opener.queue, [&](State, const PortError&) { ++states; });
  }
  EXPECT_TRUE(opener.network->waitUntilConnectionsEnd(patience));
  opener.queue.sync([] {});
  EXPECT_EQ(states, 0);
}

TEST(OutgoingConnection, opensManyAtOnce) {
  constexpr std::size_t count = 500;
  ListeningHost host;
  Opener opener;
  std::atomic<std::size_t> ready = 0;
  std::vector<std::unique_ptr<NetworkConnection>> connections;
  for (std::size_t index = 0; index < count; ++index) {
    connections.push_back(opener.network->connect({"127.0.0.1", host.port()}));
    connections.back()->start(opener.queue,
                              [&](State state, const PortError&) { ready += state == State::ready; });
  }
  EXPECT_TRUE(eventually([&] { return ready == count; }, patience));
  std::set<std::uint16_t> ports;
  for (const auto& connection : connections) ports.insert(connection->localEndpoint()->port);
  EXPECT_EQ(ports.size(), count);
}

// The kernel may give an attempt the very port that it wants to reach. Such a connection answers itself.
TEST(OutgoingConnection, neverConnectsToItself) {
  Opener opener;
  const auto address = socketAddressFor({"127.0.0.1", freePort()}, NameLookup::numericOnly);
  const Descriptor mirror(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(mirror.get(), address->get(), address->size), 0);
  ASSERT_EQ(::connect(mirror.get(), address->get(), address->size), 0) << "the kernel allows it";
  EXPECT_TRUE(connectFailure(mirror.get()));
}

}  // namespace
}  // namespace quorl::test
