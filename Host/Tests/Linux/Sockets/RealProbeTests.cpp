// SPDX-License-Identifier: GPL-3.0-or-later
// Probes of real servers over real sockets.
#include <array>
#include <future>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Scanner/ServiceProbe.h>
#include <QuorlHostPosix/SocketNetwork.h>

#include "TestSockets.h"

namespace quorl::test {
namespace {

using Answer = ProbeResult::Answer;
using Answers = std::map<std::string, std::string>;  // by path

/// Answers each connection by the path of its request, and closes it. Keeps a connection for another path
/// open.
class AnsweringServer {
 public:
  explicit AnsweringServer(Answers answers) : answers_(std::move(answers)) {
    thread_ = std::thread([this] { run(); });
  }
  ~AnsweringServer() {
    shutdown(socket_.descriptor(), SHUT_RDWR);
    thread_.join();
  }
  std::uint16_t port() const { return socket_.port(); }

 private:
  void run() {
    std::vector<Descriptor> silent;
    for (;;) {
      Descriptor connection(accept(socket_.descriptor(), nullptr, nullptr));
      if (!connection.isOpen()) return;
      const auto answer = answers_.find(readPath(connection.get()));
      if (answer == answers_.end()) {
        silent.push_back(std::move(connection));
        continue;
      }
      (void)!send(connection.get(), answer->second.data(), answer->second.size(), MSG_NOSIGNAL);
    }
  }
  static std::string readPath(int connection) {
    std::string request;
    std::array<char, 1024> buffer;
    while (!request.ends_with("\r\n\r\n")) {
      const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
      if (count <= 0) break;
      request.append(buffer.data(), static_cast<std::size_t>(count));
    }
    const std::size_t start = request.find(' ') + 1;
    return request.substr(start, request.find(' ', start) - start);
  }

  const Answers answers_;
  const TestSocket socket_{"127.0.0.1"};
  std::thread thread_;  // last: it uses all the above
};

// A busy machine may take long to answer.
constexpr std::chrono::seconds patience{60};

ProbeResult probe(std::uint16_t port, std::chrono::milliseconds limit = patience) {
  PoolScheduler scheduler;
  const auto network = std::make_shared<SocketNetwork>();
  const SerialQueue queue(scheduler, "test", QueueRank::service);
  std::promise<ProbeResult> result;
  const auto attempt = std::make_shared<ServiceProbe>(queue, network, port, limit);
  queue.async([&] { attempt->start([&](const ProbeResult& found) { result.set_value(found); }); });
  ProbeResult found = result.get_future().get();
  queue.sync([] {});  // the probe has left its callback
  return found;
}

TEST(RealProbe, findsTheTitleOfAPage) {
  const AnsweringServer server(Answers{{"/", "HTTP/1.0 200 OK\r\n\r\n<title>Up</title>"}});
  EXPECT_EQ(probe(server.port()), (ProbeResult{Answer::http, "Up"}));
}

TEST(RealProbe, followsARedirectOnAnotherConnection) {
  const AnsweringServer server({{"/", "HTTP/1.1 302 Found\r\nLocation: /login\r\nContent-Length: 0\r\n\r\n"},
                                {"/login", "HTTP/1.1 200 OK\r\n\r\n<title>Sign in</title>"}});
  EXPECT_EQ(probe(server.port()), (ProbeResult{Answer::http, "Sign in"}));
}

TEST(RealProbe, readsTheBeginningOfALongPage) {
  const AnsweringServer server(
      {{"/", "HTTP/1.1 200 OK\r\n\r\n<title>Long</title>" + std::string(200'000, 'x')}});
  EXPECT_EQ(probe(server.port()), (ProbeResult{Answer::http, "Long"}));
}

TEST(RealProbe, findsNothingAtARefusingOrSilentPort) {
  const AnsweringServer silent({});
  EXPECT_EQ(probe(silent.port(), ServiceProbe::timeLimit), (ProbeResult{Answer::none, {}}));
  TestSocket closed("127.0.0.1");
  closed.close();
  EXPECT_EQ(probe(closed.port()), (ProbeResult{Answer::none, {}}));
}

TEST(RealProbe, distinguishesOtherProtocolsAndEmptyAnswers) {
  const AnsweringServer ssh(Answers{{"/", "SSH-2.0-OpenSSH_9.2\r\n"}});
  EXPECT_EQ(probe(ssh.port()), (ProbeResult{Answer::otherProtocol, {}}));
  const AnsweringServer closing(Answers{{"/", ""}});
  EXPECT_EQ(probe(closing.port()), (ProbeResult{Answer::closed, {}}));
}

}  // namespace
}  // namespace quorl::test
