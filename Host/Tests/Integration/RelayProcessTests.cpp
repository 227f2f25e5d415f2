// SPDX-License-Identifier: GPL-3.0-or-later
// The relay of the real host, between real clients and a real web service.
#include <algorithm>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Integration/TinyWebServer.h>
#include <QuorlKit/Foundation/Base64.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class RelayProcessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host_.listens()) << host_.program().output();
    ASSERT_TRUE(client_.emplace(port_).isConnected());
    const auto token = client_->pair("314159");
    ASSERT_TRUE(token);
    token_ = base64Encoded(*token);
    allow(server_.port());
    ASSERT_TRUE(eventually([&] { return HostProcess::isListening(relayPort_); }));
  }

  void allow(std::uint16_t port) {
    client_->send(message::AddCustomService{
        CustomService{.id = UUID{{static_cast<std::uint8_t>(port >> 8), static_cast<std::uint8_t>(port)}},
                      .name = "web",
                      .port = port}});
    ASSERT_TRUE(client_->echoes());
  }
  std::string urlToken() const {
    std::string text = token_;
    std::ranges::replace(text, '+', '-');
    std::ranges::replace(text, '/', '_');
    std::erase(text, '=');
    return text;
  }
  std::string target(const std::string& path) const { return "/p/" + std::to_string(server_.port()) + path; }
  std::string request(const std::string& path, const std::string& headers = "") const {
    return "GET " + target(path) + " HTTP/1.1\r\nx-quorl-token: " + token_ + "\r\n" + headers + "\r\n";
  }
  // Everything that comes until the relay closes.
  std::string ask(const std::string& text) const {
    LoopbackPeer peer(relayPort_);
    peer.write(viewOf(text));
    return textOf(peer.readAll());
  }
  static std::string readHead(LoopbackPeer& peer) {
    std::string head;
    while (!head.ends_with("\r\n\r\n")) {
      const Bytes byte = peer.read(1);
      if (byte.empty()) break;
      head += textOf(byte);
    }
    return head;
  }
  static std::string readAnswer(LoopbackPeer& peer) {
    const std::string head = readHead(peer);
    const std::size_t length = head.find("Content-Length: ");
    if (length == std::string::npos) return head;
    return head + textOf(peer.read(std::stoul(head.substr(length + 16))));
  }
  bool stillServes() const {
    LoopbackPeer peer(relayPort_);
    peer.write(viewOf(request("/bytes/5")));
    return readAnswer(peer).ends_with(webBytes(5));
  }

  TemporaryFolder home_;
  const std::uint16_t port_ = freePort();
  const std::uint16_t relayPort_ = freePort();
  HostProcess host_{{.port = port_,
                     .relayPort = relayPort_,
                     .home = home_.path(),
                     .options = {"--pin", "314159"},
                     .environment = {},
                     .launcher = {}}};
  TinyWebServer server_;
  std::optional<RawClient> client_;
  std::string token_;
};

TEST_F(RelayProcessTest, servesARequestWithTheTokenInAHeader) {
  LoopbackPeer peer(relayPort_);
  ASSERT_TRUE(peer.write(viewOf(request("/page?a=1"))));
  const std::string body =
      "GET /page?a=1 HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server_.port()) + "\r\n\r\n";
  EXPECT_EQ(readAnswer(peer),
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

TEST_F(RelayProcessTest, turnsAQueryTokenIntoACookieThatServesTheNextRequest) {
  LoopbackPeer first(relayPort_);
  ASSERT_TRUE(first.write(viewOf("GET " + target("/?quorl_token=" + urlToken()) + " HTTP/1.1\r\n\r\n")));
  const std::string answer = readAnswer(first);
  const std::size_t start = answer.find("Set-Cookie: ") + 12;
  ASSERT_NE(answer.find("Set-Cookie: quorl_token="), std::string::npos) << answer;
  EXPECT_EQ(answer.find("?quorl_token"), std::string::npos);
  const std::string cookie = answer.substr(start, answer.find(';', start) - start);
  LoopbackPeer second(relayPort_);
  ASSERT_TRUE(
      second.write(viewOf("GET " + target("/") + " HTTP/1.1\r\nCookie: theme=dark; " + cookie + "\r\n\r\n")));
  const std::string later = readAnswer(second);
  EXPECT_NE(later.find("\r\nCookie: theme=dark\r\n"), std::string::npos) << later;
  EXPECT_EQ(later.find("quorl_token"), std::string::npos);
}

TEST_F(RelayProcessTest, rejectsWithoutATokenAndForOtherPorts) {
  const std::string forbidden = "HTTP/1.1 403 Forbidden\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
  EXPECT_EQ(ask("GET " + target("/") + " HTTP/1.1\r\n\r\n"), forbidden);
  EXPECT_EQ(ask("GET /p/22/ HTTP/1.1\r\nx-quorl-token: " + token_ + "\r\n\r\n"), forbidden);
  EXPECT_EQ(ask("GET / HTTP/1.1\r\nx-quorl-token: " + token_ + "\r\n\r\n").substr(0, 22),
            "HTTP/1.1 404 Not Found");
  EXPECT_EQ(server_.connections(), 0U);
}

TEST_F(RelayProcessTest, passesManyRequestsOfOneConnection) {
  LoopbackPeer peer(relayPort_);
  ASSERT_TRUE(peer.write(viewOf(request("/bytes/1000"))));
  EXPECT_TRUE(readAnswer(peer).ends_with(webBytes(1000)));
  for (int round = 0; round < 200; ++round) {
    ASSERT_TRUE(peer.write(viewOf("GET /bytes/1000 HTTP/1.1\r\n\r\n")));
    ASSERT_TRUE(readAnswer(peer).ends_with(webBytes(1000))) << round;
  }
  EXPECT_EQ(server_.connections(), 1U);
}

TEST_F(RelayProcessTest, passesALargeBodyWhole) {
  constexpr std::size_t size = 50'000'000;
  LoopbackPeer peer(relayPort_);
  ASSERT_TRUE(peer.write(viewOf(request("/bytes/" + std::to_string(size)))));
  EXPECT_TRUE(readAnswer(peer).ends_with(webBytes(size)));
}

TEST_F(RelayProcessTest, passesBytesBothWaysAfterAnUpgrade) {
  LoopbackPeer peer(relayPort_);
  ASSERT_TRUE(peer.write(
      viewOf("GET " + target("/echo?quorl_token=" + urlToken()) + " HTTP/1.1\r\nUpgrade: echo\r\n\r\n")));
  const std::string head = readHead(peer);
  EXPECT_TRUE(head.starts_with("HTTP/1.1 101 Switching Protocols\r\nSet-Cookie: quorl_token=")) << head;
  for (std::size_t size : {1U, 125U, 70'000U, 1U}) {
    std::thread writer([&] { peer.write(pattern(size)); });
    EXPECT_EQ(peer.read(size), pattern(size));
    writer.join();
  }
}

TEST_F(RelayProcessTest, survivesBackendsThatEndBadly) {
  EXPECT_EQ(ask(request("/partial")), "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
  EXPECT_EQ(ask(request("/reset")), "");
  const std::uint16_t unused = freePort();
  allow(unused);
  EXPECT_EQ(ask("GET /p/" + std::to_string(unused) + "/ HTTP/1.1\r\nx-quorl-token: " + token_ + "\r\n\r\n"),
            "");
  LoopbackPeer hanging(relayPort_);
  ASSERT_TRUE(hanging.write(viewOf(request("/hang"))));
  EXPECT_TRUE(stillServes());
  hanging.finishWriting();
  EXPECT_EQ(textOf(hanging.readAll()), "");
}

TEST_F(RelayProcessTest, servesManyConnectionsAtOnce) {
  constexpr std::size_t count = 200;
  std::vector<std::unique_ptr<LoopbackPeer>> peers;
  for (std::size_t index = 0; index < count; ++index) {
    peers.push_back(std::make_unique<LoopbackPeer>(relayPort_));
    ASSERT_TRUE(peers.back()->write(viewOf(request("/bytes/" + std::to_string(index)))));
  }
  for (std::size_t index = 0; index < count; ++index)
    ASSERT_TRUE(readAnswer(*peers[index]).ends_with(webBytes(index))) << index;
}

TEST_F(RelayProcessTest, closesConnectionsWithoutAHeadAndKeepsServing) {
  std::vector<std::unique_ptr<LoopbackPeer>> slow;
  for (int index = 0; index < 50; ++index) {
    slow.push_back(std::make_unique<LoopbackPeer>(relayPort_));
    slow.back()->write(viewOf("GET "));
  }
  EXPECT_TRUE(stillServes());
  for (const auto& peer : slow) {
    EXPECT_EQ(textOf(peer->readAll()), "");
    EXPECT_EQ(peer->end(), LoopbackPeer::End::finished);
  }
}

TEST_F(RelayProcessTest, endsWithItsListenerClosed) {
  host_.program().signal(SIGTERM);
  EXPECT_EQ(host_.program().waitForExit(), 0);
  EXPECT_FALSE(HostProcess::isListening(relayPort_));
}

}  // namespace
}  // namespace quorl::test
