// SPDX-License-Identifier: GPL-3.0-or-later
// The web services and the network status of a whole host, as its clients receive them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Scanner/ServiceScanner.h>
#include <Support/FakeClient.h>
#include <Support/FakePlatform.h>
#include <Support/FakeWeb.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ReachabilityTest : public testing::Test {
 protected:
  ReachabilityTest() {
    config_.fixedPIN = "123456";
    platform_.network = web_.network;
    platform_.machine->name = "Workbench";
    setAddress(5);
  }

  void run() {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    ASSERT_TRUE(runtime_->start().has_value());
    advance(seconds(0));
  }
  /// Also serves the requests of a scan.
  void advance(seconds span) {
    for (; span > seconds(0); span -= seconds(1)) {
      simulation_.advance(seconds(1));
      web_.settle();
    }
    web_.settle();
  }
  FakeClient join() {
    FakeClient client(simulation_, platform_.network->connect(config_.port));
    client.settle();
    EXPECT_TRUE(client.pair("123456"));
    client.settle();
    return client;
  }
  void serve(std::uint16_t port, const std::string& title) {
    platform_.listeningSockets->sockets->push_back(
        {.port = port, .processName = "node", .pid = 42, .reach = ListeningSocket::Reach::loopback});
    web_.serve(port, FakeWeb::page(title));
  }
  void setAddress(std::uint8_t last) {
    platform_.interfaces->current = {{"eth0", {192, 168, 1, last}, InterfaceAddress::Kind::lan}};
  }
  static ServiceDescriptor found(std::uint16_t port, const std::string& title) {
    return {.port = port, .processName = "node", .pid = 42, .title = title, .loopbackOnly = true};
  }
  static CustomService custom(std::uint16_t port) { return {.id = UUID{{9}}, .name = "mine", .port = port}; }
  static ServiceDescriptor customDescriptor(std::uint16_t port) {
    return {.port = port, .processName = "mine", .pid = 0, .title = {}, .loopbackOnly = true};
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakeWeb web_{simulation_};
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<HostRuntime> runtime_;
};

TEST_F(ReachabilityTest, sendsTheNetworkStatusAndTheServicesAfterAuthentication) {
  run();
  FakeClient client = join();
  EXPECT_THAT(client.all<message::NetworkStatus>(), SizeIs(1));
  EXPECT_THAT(client.all<message::ServiceList>(), SizeIs(1));
  EXPECT_THAT(client.last<message::NetworkStatus>()->_0.lanAddresses, ElementsAre("192.168.1.5"));
}

TEST_F(ReachabilityTest, sendsTheNetworkStatusOnRequest) {
  run();
  FakeClient client = join();
  client.received.clear();
  client.send(message::RequestNetworkStatus{});
  ASSERT_THAT(client.names(), ElementsAre("networkStatus"));
  const NetworkStatus status = client.last<message::NetworkStatus>()->_0;
  EXPECT_EQ(status, runtime_->network()->current());
  EXPECT_EQ(status.shortName, "Workbench");
  EXPECT_EQ(status.sessionPort, 47'900);
  EXPECT_EQ(status.relayPort, 47'901);
}

TEST_F(ReachabilityTest, sendsAChangedNetworkStatusToAuthenticatedClientsOnly) {
  run();
  FakeClient first = join();
  FakeClient second = join();
  FakeClient stranger(simulation_, platform_.network->connect(config_.port));
  first.received.clear();
  second.received.clear();
  setAddress(9);
  platform_.interfaces->notify();
  advance(seconds(1));
  for (FakeClient* client : {&first, &second, &stranger}) client->settle();
  ASSERT_THAT(first.all<message::NetworkStatus>(), SizeIs(1));
  EXPECT_THAT(first.last<message::NetworkStatus>()->_0.lanAddresses, ElementsAre("192.168.1.9"));
  EXPECT_THAT(second.all<message::NetworkStatus>(), SizeIs(1));
  EXPECT_THAT(stranger.all<message::NetworkStatus>(), IsEmpty());
}

TEST_F(ReachabilityTest, sendsTheServicesWhenAScanHasFoundThem) {
  serve(3000, "Wiki");
  run();
  FakeClient client = join();
  EXPECT_THAT(client.last<message::ServiceList>()->_0, IsEmpty());
  client.received.clear();
  advance(seconds(2));
  client.settle();
  EXPECT_THAT(client.all<message::ServiceList>(), ElementsAre(message::ServiceList{{found(3000, "Wiki")}}));
  EXPECT_THAT(join().last<message::ServiceList>()->_0, ElementsAre(found(3000, "Wiki")));
}

TEST_F(ReachabilityTest, listsTheUsersOwnServicesAfterTheScannedOnesEverywhere) {
  serve(9000, "B");
  run();
  FakeClient client = join();
  client.send(message::AddCustomService{custom(80)});
  EXPECT_THAT(client.last<message::ServiceList>()->_0, ElementsAre(customDescriptor(80)));
  advance(seconds(2));
  client.settle();
  const auto both = ElementsAre(found(9000, "B"), customDescriptor(80));
  EXPECT_THAT(client.last<message::ServiceList>()->_0, both) << "the broadcast after a scan";
  client.received.clear();
  client.send(message::RequestServiceList{});
  EXPECT_THAT(client.last<message::ServiceList>()->_0, both) << "on request";
  EXPECT_THAT(join().last<message::ServiceList>()->_0, both) << "after authentication";
  client.received.clear();
  client.send(message::AddCustomService{custom(81)});
  EXPECT_THAT(client.last<message::ServiceList>()->_0, ElementsAre(found(9000, "B"), customDescriptor(81)))
      << "after a change";
}

TEST_F(ReachabilityTest, probesNoPortOfAHost) {
  config_.port = 50'100;
  config_.relayPort = 50'101;
  for (const std::uint16_t port : {47'900, 47'901, 50'100, 50'101}) serve(port, "host");
  run();
  advance(seconds(60));
  EXPECT_THAT(web_.network->opened, IsEmpty());
}

TEST_F(ReachabilityTest, broadcastsNothingWithoutBackgroundServices) {
  config_.enableBackgroundServices = false;
  serve(3000, "Wiki");
  run();
  FakeClient client = join();
  EXPECT_THAT(client.all<message::NetworkStatus>(), SizeIs(1)) << "of the new session";
  client.received.clear();
  setAddress(9);
  platform_.interfaces->notify();
  advance(seconds(60));
  client.settle();
  EXPECT_THAT(client.names(), IsEmpty());
  EXPECT_EQ(platform_.listeningSockets->calls, 0);
}

TEST_F(ReachabilityTest, scansAndDetectsNoMoreAfterTheStop) {
  serve(3000, "Wiki");
  run();
  advance(seconds(10));
  runtime_->stop();
  simulation_.runReady();
  const int scans = platform_.listeningSockets->calls;
  const int reads = platform_.interfaces->reads;
  advance(seconds(100));
  EXPECT_EQ(platform_.listeningSockets->calls, scans);
  EXPECT_EQ(platform_.interfaces->reads, reads);
}

TEST_F(ReachabilityTest, worksOnAPlatformThatCannotListSockets) {
  Platform platform = platform_.platform();
  platform.listeningSockets = nullptr;
  runtime_ = HostRuntime::make(config_, platform);
  ASSERT_TRUE(runtime_->start().has_value());
  simulation_.runReady();
  FakeClient client = join();
  client.send(message::AddCustomService{custom(80)});
  EXPECT_THAT(client.last<message::ServiceList>()->_0, ElementsAre(customDescriptor(80)));
  runtime_->stop();
  simulation_.runReady();
}

}  // namespace
}  // namespace quorl::test
