// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <Core/Relay/RelayFixture.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class RelayConnectionTest : public RelayFixture {
 protected:
  RelayConnectionTest() { Log::verbose = true; }
  ~RelayConnectionTest() override { Log::verbose = false; }

  static Bytes pieces(std::size_t count) { return Bytes(count * RelayConnection::pipeReadSize, 'x'); }

  const std::string plainHead_ = "GET / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n\r\n";
};

class RelayWithoutDevicesTest : public RelayFixture {
 protected:
  RelayWithoutDevicesTest() : RelayFixture(false) {}
};

TEST_F(RelayConnectionTest, passesARequestAndItsResponse) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  EXPECT_EQ(received(backend()), plainHead_);
  EXPECT_EQ(platform_.network->opened.front().address, (HostPort{"127.0.0.1", 8080}));
  send(backend(), "HTTP/1.1 200 OK\r\n\r\nbody");
  EXPECT_EQ(received(*client), "HTTP/1.1 200 OK\r\n\r\nbody");
  EXPECT_TRUE(log_.has(LogLevel::debug, "relay", "relay GET :8080/"));
}

TEST_F(RelayConnectionTest, aSecondRequestOnAKeptAliveConnectionPassesUncheckedAndUnchanged) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  received(backend());
  allowed_.clear();
  trustStore_->revokeAll();
  const std::string second = "GET /p/8080/x?quorl_token=secret HTTP/1.1\r\nHost: relay\r\nCookie: a\r\n\r\n";
  send(*client, second);
  EXPECT_EQ(received(backend()), second);
  EXPECT_EQ(platform_.network->opened.size(), 1U);
}

TEST_F(RelayConnectionTest, bodyBytesThatArriveWithTheHeadTravelInTheSameSend) {
  platform_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::hangs);
  connectAndSend(authorized("POST /p/8080/", "Content-Length: 4\r\n") + "body");
  const auto held = backend().heldBodies();
  ASSERT_EQ(held.size(), 1U);
  EXPECT_EQ(textOf(*held.front()),
            "POST / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Length: 4\r\n\r\nbody");
}

TEST_F(RelayConnectionTest, readsAHeadThatIsSplitAtAnyByte) {
  const std::string head = authorized("GET /p/8080/");
  for (std::size_t cut = 0; cut <= head.size(); ++cut) {
    const auto client = connectAndSend(head.substr(0, cut));
    send(*client, head.substr(cut) + "rest");
    ASSERT_EQ(received(backend()), plainHead_ + "rest") << cut;
  }
  EXPECT_EQ(platform_.network->opened.size(), head.size() + 1);
}

TEST_F(RelayConnectionTest, readsAHeadThatArrivesByteByByte) {
  const auto client = connect();
  for (const char byte : authorized("GET /p/8080/")) send(*client, std::string(1, byte));
  EXPECT_EQ(received(backend()), plainHead_);
}

TEST_F(RelayConnectionTest, acceptsAHeadAsLargeAsTheLimitAndRefusesALargerOne) {
  const std::string start = "GET /p/8080/ HTTP/1.1\r\nX-Quorl-Token: " + token_ + "\r\nA: ";
  const std::string fill(RelayConnection::headLimit - start.size() - 4, 'a');
  connectAndSend(start + fill + "\r\n\r\n");
  EXPECT_EQ(platform_.network->opened.size(), 1U);
  const auto larger = connectAndSend(start + fill + "a\r\n\r\n");
  EXPECT_EQ(received(*larger), rejection("431 Request Header Fields Too Large"));
  EXPECT_TRUE(larger->isClosedByHost());
  EXPECT_EQ(platform_.network->opened.size(), 1U);
}

TEST_F(RelayConnectionTest, bytesOfABodyInTheSameReadCountAsHead) {
  const auto client = connect();
  const std::string head = authorized("POST /p/8080/", "A: " + std::string(60'000, 'a') + "\r\n");
  send(*client, head.substr(0, 100));
  client->write(viewOf(head.substr(100) + std::string(10'000, 'b')));
  EXPECT_EQ(received(*client), rejection("431 Request Header Fields Too Large"));
}

TEST_F(RelayConnectionTest, readsAHeadInPiecesOfSixteenKibibytes) {
  const auto client = connectAndSend(std::string(40'000, 'a'));
  EXPECT_EQ(client->largestReceive(), RelayConnection::headReadSize);
}

TEST_F(RelayConnectionTest, rejectsWithAnEmptyBodyAndCloses) {
  const auto client = connectAndSend("GET /p/8080/ HTTP/1.1\r\n\r\n");
  EXPECT_EQ(received(*client), rejection("403 Forbidden"));
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, closesARejectedConnectionEvenIfTheStatusCannotBeSent) {
  const auto client = connect();
  client->failSends("gone");
  send(*client, "bad\r\n\r\n");
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, logsAPortThatIsNotInTheList) {
  const auto client = connectAndSend(authorized("GET /p/22/"));
  EXPECT_EQ(received(*client), rejection("403 Forbidden"));
  EXPECT_TRUE(log_.has(LogLevel::debug, "relay", "relay REJECT :22 — not in known-service allowlist"));
}

TEST_F(RelayConnectionTest, readsTheAllowedPortsAnewForEachHead) {
  connectAndSend(authorized("GET /p/8080/"));
  EXPECT_EQ(allowedReads_, 1);
  allowed_ = {9090};
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  EXPECT_EQ(allowedReads_, 2);
  EXPECT_EQ(received(*client), rejection("403 Forbidden"));
}

TEST_F(RelayWithoutDevicesTest, answersNothingButForbidden) {
  const auto client = connectAndSend("GET /p/8080/ HTTP/1.1\r\nx-quorl-token: \r\n\r\n");
  EXPECT_EQ(received(*client), rejection("403 Forbidden"));
}

TEST_F(RelayConnectionTest, closesWithoutAStatusWhenNoHeadHasComeInTime) {
  const auto client = connectAndSend("GET /p/8080/ HTTP/1.1\r\n");
  simulation_.advance(seconds(15) - milliseconds(1));
  EXPECT_FALSE(client->isClosedByHost());
  simulation_.advance(milliseconds(1));
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(received(*client), "");
  EXPECT_EQ(log_.count("relay: handshake timeout, dropping idle connection"), 1U);
}

TEST_F(RelayConnectionTest, theTimeForTheHeadEndsWithTheHead) {
  const auto client = connect();
  simulation_.advance(seconds(14));
  send(*client, authorized("GET /p/8080/"));
  simulation_.advance(seconds(60));
  EXPECT_FALSE(client->isClosedByHost());
  EXPECT_EQ(log_.count("relay: handshake timeout, dropping idle connection"), 0U);
}

TEST_F(RelayConnectionTest, eachConnectionHasItsOwnTimeForTheHead) {
  const auto first = connect();
  simulation_.advance(seconds(5));
  const auto second = connect();
  simulation_.advance(seconds(5));
  const auto third = connect();
  send(*second, authorized("GET /p/8080/"));
  simulation_.advance(seconds(5));
  EXPECT_TRUE(first->isClosedByHost());
  simulation_.advance(seconds(9));
  EXPECT_FALSE(second->isClosedByHost() || third->isClosedByHost());
  simulation_.advance(seconds(1));
  EXPECT_TRUE(third->isClosedByHost());
  EXPECT_FALSE(second->isClosedByHost());
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(RelayConnectionTest, thousandsOfSlowSendersAreDroppedInTimeAndShareOneTimer) {
  constexpr std::size_t count = 5000;
  Log::verbose = false;
  std::vector<std::shared_ptr<FakePeer>> senders;
  for (std::size_t index = 0; index < count; ++index)
    senders.push_back(platform_.network->connect(HTTPRelay::port));
  simulation_.runReady();
  EXPECT_EQ(simulation_.pendingTimers(), 1U);
  for (int second = 0; second < 14; ++second) {
    for (const auto& sender : senders) sender->write(viewOf("x"));
    simulation_.advance(seconds(1));
  }
  EXPECT_EQ(relay_->activeConnections(), count);
  simulation_.advance(seconds(1));
  EXPECT_EQ(relay_->activeConnections(), 0U);
  EXPECT_TRUE(std::ranges::all_of(senders, [](const auto& sender) { return sender->isClosedByHost(); }));
  connectAndSend(authorized("GET /p/8080/"));
  EXPECT_EQ(received(backend()), plainHead_);
}

TEST_F(RelayConnectionTest, closesWhenTheClientEndsWithinTheHead) {
  const auto client = connectAndSend("GET /p/80");
  client->finish();
  simulation_.runReady();
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(received(*client), "");
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, closesWhenTheClientBreaksWithinTheHead) {
  const auto client = connectAndSend("GET /p/80");
  client->fail("reset");
  simulation_.runReady();
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, answersAHeadWhoseSenderHasFinished) {
  const auto client = connect();
  client->write(viewOf("bad\r\n\r\n"));
  client->finish();
  EXPECT_EQ(received(*client), rejection("400 Bad Request"));
}

TEST_F(RelayConnectionTest, closesWithoutAStatusWhenTheBackendRefuses) {
  platform_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::refuses);
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(received(*client), "");
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, waitsForABackendWithoutALimitOfItsOwn) {
  platform_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::hangs);
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  simulation_.advance(std::chrono::hours(1));
  EXPECT_FALSE(client->isClosedByHost());
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
  backend().accept();
  EXPECT_EQ(received(backend()), plainHead_);
}

TEST_F(RelayConnectionTest, closesWhenTheHeadCannotBeSentToTheBackend) {
  platform_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::hangs);
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  backend().failSends("gone");
  backend().accept();
  simulation_.runReady();
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_TRUE(backend().isClosedByHost());
}

TEST_F(RelayConnectionTest, theEndOfTheBackendEndsTheClientAfterWhatCameBefore) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  backend().write(viewOf("partial"));
  backend().finish();
  EXPECT_EQ(received(*client), "partial");
  EXPECT_TRUE(client->isClosedByHost());
}

TEST_F(RelayConnectionTest, aBackendThatBreaksEndsTheClient) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  backend().fail("reset");
  simulation_.runReady();
  EXPECT_TRUE(client->isClosedByHost());
}

TEST_F(RelayConnectionTest, theEndOfTheClientEndsTheBackendInTheMiddleOfAnAnswer) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  send(backend(), "HTTP/1.1 200 OK\r\n");
  client->finish();
  simulation_.runReady();
  EXPECT_TRUE(backend().isClosedByHost());
  EXPECT_TRUE(client->isClosedByHost());
  EXPECT_EQ(relay_->activeConnections(), 0U);
}

TEST_F(RelayConnectionTest, readsOnlyOncePerDirectionUntilThePieceIsSent) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  received(backend());
  client->setReading(false);
  backend().write(pieces(4));
  simulation_.runReady();
  EXPECT_EQ(backend().unreadBytes(), 3 * RelayConnection::pipeReadSize);
  backend().setReading(false);
  client->write(pieces(4));
  simulation_.runReady();
  EXPECT_EQ(client->unreadBytes(), 3 * RelayConnection::pipeReadSize);
  client->setReading(true);
  EXPECT_EQ(received(*client).size(), 4 * RelayConnection::pipeReadSize);
  backend().setReading(true);
  EXPECT_EQ(received(backend()).size(), 4 * RelayConnection::pipeReadSize);
}

TEST_F(RelayConnectionTest, setsTheCookieInTheFirstResponseOnly) {
  const auto client = connectAndSend("GET /p/8080/?quorl_token=" + token_ + " HTTP/1.1\r\n\r\n");
  EXPECT_EQ(received(backend()), plainHead_);
  const std::string response = "HTTP/1.1 200 OK\r\nA: b\r\n\r\n";
  for (const char byte : response) send(backend(), std::string(1, byte));
  std::string encoded;
  for (const char letter : token_)
    encoded += letter == '-' ? "%2D" : letter == '_' ? "%5F" : std::string(1, letter);
  EXPECT_EQ(received(*client),
            "HTTP/1.1 200 OK\r\nSet-Cookie: quorl_token=" + encoded + "; Path=/; HttpOnly\r\nA: b\r\n\r\n");
  send(backend(), response);
  EXPECT_EQ(received(*client), response);
}

TEST_F(RelayConnectionTest, theCookieThatItSetsAuthorizes) {
  const auto client = connectAndSend("GET /p/8080/?quorl_token=" + token_ + " HTTP/1.1\r\n\r\n");
  send(backend(), "HTTP/1.1 200 OK\r\nA: b\r\n\r\n");
  const std::string response = received(*client);
  const std::size_t start = response.find("quorl_token=");
  const std::string cookie = response.substr(start, response.find(';', start) - start);
  connectAndSend("GET /p/8080/ HTTP/1.1\r\nCookie: " + cookie + "\r\n\r\n");
  EXPECT_EQ(received(backend()), plainHead_);
}

TEST_F(RelayConnectionTest, aResponseHeadAboveTheLimitPassesWithoutTheCookie) {
  const auto client = connectAndSend("GET /p/8080/?quorl_token=" + token_ + " HTTP/1.1\r\n\r\n");
  const std::string endless = "HTTP/1.1 200 OK\r\nA: " + std::string(ResponseHead::limit, 'a');
  send(backend(), endless);
  EXPECT_EQ(received(*client), endless);
  send(backend(), "\r\n\r\n");
  EXPECT_EQ(received(*client), "\r\n\r\n");
}

TEST_F(RelayConnectionTest, anUnfinishedResponseHeadIsLostWithTheBackend) {
  const auto client = connectAndSend("GET /p/8080/?quorl_token=" + token_ + " HTTP/1.1\r\n\r\n");
  backend().write(viewOf("HTTP/1.1 200 OK\r\n"));
  backend().finish();
  EXPECT_EQ(received(*client), "");
  EXPECT_TRUE(client->isClosedByHost());
}

TEST_F(RelayConnectionTest, passesBytesBothWaysAfterAnUpgrade) {
  const auto client = connectAndSend(authorized("GET /p/8080/socket", "Upgrade: websocket\r\n"));
  received(backend());
  send(backend(), "HTTP/1.1 101 Switching Protocols\r\n\r\n");
  send(*client, std::string("\x81\x85\0\0\0\0hello", 11));
  EXPECT_EQ(received(backend()), std::string("\x81\x85\0\0\0\0hello", 11));
  send(backend(), std::string("\x81\x02hi", 4));
  EXPECT_EQ(received(*client), "HTTP/1.1 101 Switching Protocols\r\n\r\n\x81\x02hi");
}

TEST_F(RelayConnectionTest, revokedDevicesKeepTheirConnectionsAndOpenNoNewOnes) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  trustStore_->revokeAll();
  send(backend(), "answer");
  EXPECT_EQ(received(*client), "answer");
  const auto later = connectAndSend(authorized("GET /p/8080/"));
  EXPECT_EQ(received(*later), rejection("403 Forbidden"));
}

TEST_F(RelayConnectionTest, aStopEndsTheListenerAndNoConnection) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  relay_->stop();
  simulation_.runReady();
  EXPECT_FALSE(platform_.network->connect(HTTPRelay::port));
  send(backend(), "answer");
  EXPECT_EQ(received(*client), "answer");
  relay_->start();
  EXPECT_TRUE(connect());
}

TEST_F(RelayConnectionTest, aSecondStartTakesThePlaceOfTheFirst) {
  relay_->start();
  simulation_.runReady();
  EXPECT_EQ(platform_.network->machine()->owners(HTTPRelay::port).size(), 1U);
  EXPECT_EQ(log_.count("relay listener failed: Address already in use"), 0U);
}

TEST_F(RelayConnectionTest, staysOffWhenNoListenerCanBeCreated) {
  relay_->stop();
  platform_.network->failsCreation = true;
  relay_->start();
  simulation_.advance(std::chrono::hours(1));
  EXPECT_TRUE(log_.has(LogLevel::error, "relay", "relay listener failed to open port 47901"));
  EXPECT_EQ(platform_.network->listenAttempts(), 2U);
}

TEST_F(RelayConnectionTest, logsTheFailureOfItsListenerAndDoesNotRestartIt) {
  relay_->start();
  simulation_.runReady();
  EXPECT_TRUE(log_.has(LogLevel::debug, "relay", "HTTP relay on :47901"));
  platform_.network->failListener(HTTPRelay::port, "broken");
  simulation_.advance(std::chrono::hours(1));
  EXPECT_TRUE(log_.has(LogLevel::error, "relay", "relay listener failed: broken"));
  EXPECT_EQ(platform_.network->listenAttempts(), 2U);
}

TEST_F(RelayConnectionTest, itsEndDropsItsConnections) {
  const auto client = connectAndSend(authorized("GET /p/8080/"));
  relay_.reset();
  simulation_.runReady();
  EXPECT_EQ(platform_.network->liveConnections(), 0U);
}

}  // namespace
}  // namespace quorl::test
