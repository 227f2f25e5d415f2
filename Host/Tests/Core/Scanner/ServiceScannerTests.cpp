// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ServiceScanner.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/FakeListeningSockets.h>
#include <Support/LogRecorder.h>

#include <Support/FakeWeb.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Reach = ListeningSocket::Reach;

class ServiceScannerTest : public testing::Test {
 protected:
  ServiceScannerTest() {
    scanner_->setOnChange([this](const ServiceScanner::Services& list) { changes_.push_back(list); });
  }

  void listen(std::uint16_t port, std::string name = "node", Reach reach = Reach::loopback,
              std::uint64_t identity = 0) {
    sockets_->sockets->push_back(
        {.port = port, .processName = std::move(name), .pid = 42, .reach = reach, .identity = identity});
  }
  void serve(std::uint16_t port, const std::string& title, std::uint64_t identity = 0) {
    listen(port, "node", Reach::loopback, identity);
    web_.serve(port, FakeWeb::page(title));
  }
  void advance(milliseconds span) {
    simulation_.advance(span);
    web_.settle();
  }
  void startAndScan() {
    scanner_->start();
    advance(ServiceScanner::firstScan);
  }
  std::size_t requests() const { return web_.network->opened.size(); }

  static ServiceDescriptor service(std::uint16_t port, std::optional<std::string> title,
                                   bool loopbackOnly = true) {
    return {.port = port,
            .processName = "node",
            .pid = 42,
            .title = std::move(title),
            .loopbackOnly = loopbackOnly};
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakeWeb web_{simulation_};
  std::shared_ptr<FakeListeningSockets> sockets_ = std::make_shared<FakeListeningSockets>();
  std::shared_ptr<ServiceScanner> scanner_ = std::make_shared<ServiceScanner>(
      simulation_, sockets_, web_.network, ServiceScanner::Ports{.own = {47'900, 47'901}, .only = {}});
  std::vector<ServiceScanner::Services> changes_;
};

TEST_F(ServiceScannerTest, scansTwoSecondsAfterTheStartAndThenEvery20Seconds) {
  scanner_->start();
  advance(milliseconds(1999));
  EXPECT_EQ(sockets_->calls, 0);
  advance(milliseconds(1));
  EXPECT_EQ(sockets_->calls, 1);
  advance(milliseconds(19'999));
  EXPECT_EQ(sockets_->calls, 1);
  advance(milliseconds(1));
  EXPECT_EQ(sockets_->calls, 2);
}

TEST_F(ServiceScannerTest, listsWhatAnswersInHTTPByAscendingPort) {
  serve(9000, "B");
  serve(3000, "A");
  listen(5000, "postgres");
  startAndScan();
  EXPECT_THAT(scanner_->services(), ElementsAre(service(3000, "A"), service(9000, "B")));
  EXPECT_THAT(changes_, ElementsAre(scanner_->services()));
  EXPECT_TRUE(log_.has(LogLevel::info, "app", "services changed: node:3000, node:9000"));
}

TEST_F(ServiceScannerTest, carriesTheProcessAndItsReach) {
  listen(80, "nginx", Reach::everywhere);
  web_.serve(80, FakeWeb::page("Front"));
  startAndScan();
  EXPECT_THAT(scanner_->services(),
              ElementsAre(ServiceDescriptor{
                  .port = 80, .processName = "nginx", .pid = 42, .title = "Front", .loopbackOnly = false}));
}

TEST_F(ServiceScannerTest, neverProbesOrListsTheHostsOwnPorts) {
  serve(47'900, "Session");
  serve(47'901, "Relay");
  startAndScan();
  EXPECT_THAT(scanner_->services(), IsEmpty());
  EXPECT_EQ(requests(), 0U);
}

TEST_F(ServiceScannerTest, probesOnlyTheGivenPortsIfThereAreAny) {
  serve(3000, "A");
  serve(4000, "B");
  serve(47'900, "Session");
  scanner_ = std::make_shared<ServiceScanner>(
      simulation_, sockets_, web_.network,
      ServiceScanner::Ports{.own = {47'900}, .only = std::set<std::uint16_t>{4000, 47'900}});
  startAndScan();
  EXPECT_THAT(scanner_->services(), ElementsAre(service(4000, "B")));
  EXPECT_EQ(requests(), 1U);
}

TEST_F(ServiceScannerTest, listsAServiceThatAnswers404) {
  listen(8080);
  web_.serve(8080, "HTTP/1.1 404 Not Found\r\n\r\n");
  startAndScan();
  EXPECT_THAT(scanner_->services(), ElementsAre(service(8080, std::nullopt)));
}

TEST_F(ServiceScannerTest, doesNotProbeASocketOnOneAddressOnly) {
  listen(8080, "node", Reach::oneAddress);
  web_.serve(8080, FakeWeb::page("LAN"));
  startAndScan();
  EXPECT_THAT(scanner_->services(), IsEmpty());
  EXPECT_EQ(requests(), 0U);
}

TEST_F(ServiceScannerTest, callsOnChangeOnceForTwoScansWithEqualResults) {
  serve(3000, "A");
  startAndScan();
  advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 2U);
  EXPECT_EQ(changes_.size(), 1U);
  EXPECT_EQ(log_.count("services changed: node:3000"), 1U);
}

TEST_F(ServiceScannerTest, callsOnChangeWhenAnyFieldChanges) {
  serve(3000, "A");
  startAndScan();
  web_.serve(3000, FakeWeb::page("B"));
  advance(ServiceScanner::interval);
  sockets_->sockets->at(0).pid = 43;
  advance(ServiceScanner::interval);
  EXPECT_EQ(changes_.size(), 3U);
  sockets_->sockets->clear();
  advance(ServiceScanner::interval);
  EXPECT_THAT(changes_.back(), IsEmpty());
}

TEST_F(ServiceScannerTest, replacesTheListByAnEmptyOneIfTheSocketsCannotBeListed) {
  serve(3000, "A");
  startAndScan();
  sockets_->sockets = std::unexpected(PortError{"lsof failed: No such file or directory", 2});
  advance(ServiceScanner::interval);
  EXPECT_THAT(scanner_->services(), IsEmpty());
  EXPECT_EQ(changes_.size(), 2U);
  EXPECT_TRUE(log_.has(LogLevel::error, "app", "lsof failed: No such file or directory"));
}

TEST_F(ServiceScannerTest, sendsNothingForAFirstScanWithoutServices) {
  startAndScan();
  EXPECT_THAT(changes_, IsEmpty());
}

TEST_F(ServiceScannerTest, probesFourPortsAtATime) {
  for (std::uint16_t port = 1; port <= 10; ++port) {
    listen(port);
    web_.hang(port);
  }
  startAndScan();
  EXPECT_EQ(web_.network->liveConnections(), 4U);
  advance(milliseconds(700));
  EXPECT_EQ(requests(), 8U);
  EXPECT_EQ(web_.network->liveConnections(), 4U);
  advance(milliseconds(700));
  EXPECT_EQ(requests(), 10U);
  EXPECT_EQ(web_.network->liveConnections(), 2U);
  advance(milliseconds(700));
  EXPECT_EQ(web_.network->liveConnections(), 0U);
}

TEST_F(ServiceScannerTest, ignoresATickDuringAScan) {
  for (std::uint16_t port = 1; port <= 200; ++port) {
    listen(port);
    web_.hang(port);
  }
  scanner_->start();
  // 50 rounds of 0.7 s are longer than the interval.
  for (int second = 0; second < 25; ++second) advance(seconds(1));
  EXPECT_EQ(sockets_->calls, 1);
  for (int second = 0; second < 20; ++second) advance(seconds(1));
  EXPECT_EQ(requests(), 200U + 4U * 5U) << "the next scan began at 42 s";
  EXPECT_EQ(sockets_->calls, 2);
}

TEST_F(ServiceScannerTest, keepsItsListAfterTheStopAndScansNoMore) {
  serve(3000, "A");
  startAndScan();
  sockets_->sockets->clear();
  scanner_->stop();
  advance(seconds(100));
  EXPECT_THAT(scanner_->services(), ElementsAre(service(3000, "A")));
  EXPECT_EQ(changes_.size(), 1U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(ServiceScannerTest, endsAScanThatIsUnderWayWhenItStops) {
  serve(3000, "A");
  listen(4000);
  web_.hang(4000);
  startAndScan();
  scanner_->stop();
  advance(seconds(10));
  EXPECT_THAT(scanner_->services(), IsEmpty());
  EXPECT_THAT(changes_, IsEmpty());
  EXPECT_EQ(web_.network->liveConnections(), 0U);
}

TEST_F(ServiceScannerTest, asksAProgramWithAnotherProtocolOnce) {
  listen(22, "sshd", Reach::everywhere, 77);
  web_.serve(22, "SSH-2.0-OpenSSH_9.2\r\n");
  startAndScan();
  advance(ServiceScanner::interval * 3);
  EXPECT_EQ(requests(), 1U);
}

TEST_F(ServiceScannerTest, asksAgainWhenAnotherSocketTakesThePort) {
  listen(3000, "node", Reach::loopback, 77);
  web_.serve(3000, "rubbish");
  startAndScan();
  web_.serve(3000, FakeWeb::page("Up"));
  sockets_->sockets->at(0).identity = 78;
  advance(ServiceScanner::interval);
  EXPECT_THAT(scanner_->services(), ElementsAre(service(3000, "Up")));
}

TEST_F(ServiceScannerTest, asksAProgramThatClosesWithoutAnAnswerThreeTimes) {
  listen(5432, "postgres", Reach::loopback, 77);
  web_.serve(5432, "");
  startAndScan();
  for (int scan = 0; scan < 5; ++scan) advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 3U);
}

TEST_F(ServiceScannerTest, findsTheServerOfAForwarderThatWasDownForAWhile) {
  listen(3000, "node", Reach::loopback, 77);
  web_.serve(3000, "");
  startAndScan();
  for (int scan = 0; scan < 5; ++scan) advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 3U);
  web_.serve(3000, FakeWeb::page("Up"));
  for (int scan = 0; scan < SettledSockets::restAfterCloses; ++scan) advance(ServiceScanner::interval);
  EXPECT_THAT(scanner_->services(), ElementsAre(service(3000, "Up")));
}

TEST_F(ServiceScannerTest, asksAProgramWithAnotherProtocolAgainAfterAnHour) {
  listen(22, "sshd", Reach::everywhere, 77);
  web_.serve(22, "SSH-2.0-OpenSSH_9.2\r\n");
  startAndScan();
  for (int scan = 1; scan < SettledSockets::restAfterProtocol; ++scan) advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 1U);
  advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 2U);
}

TEST_F(ServiceScannerTest, findsAServiceThatIsSlowToStart) {
  listen(3000, "node", Reach::loopback, 77);
  web_.serve(3000, "");
  startAndScan();
  advance(ServiceScanner::interval);
  web_.hang(3000);
  for (int scan = 0; scan < 5; ++scan) advance(ServiceScanner::interval);
  web_.serve(3000, FakeWeb::page("Up"));
  advance(ServiceScanner::interval);
  EXPECT_THAT(scanner_->services(), ElementsAre(service(3000, "Up")));
}

TEST_F(ServiceScannerTest, asksEveryTimeIfTheSocketHasNoIdentity) {
  listen(22, "sshd");
  web_.serve(22, "SSH-2.0-OpenSSH_9.2\r\n");
  startAndScan();
  advance(ServiceScanner::interval);
  EXPECT_EQ(requests(), 2U);
}

TEST_F(ServiceScannerTest, endsWithItsOwner) {
  listen(3000);
  web_.hang(3000);
  startAndScan();
  scanner_.reset();
  advance(seconds(100));
  EXPECT_EQ(sockets_->calls, 1);
  EXPECT_EQ(web_.network->liveConnections(), 0U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
