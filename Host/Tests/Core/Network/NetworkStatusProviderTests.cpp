// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/NetworkStatusProvider.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NetworkFixture.h"

namespace quorl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class NetworkStatusProviderTest : public NetworkFixture {
 protected:
  NetworkStatusProviderTest() {
    installTailscale(R"({"BackendState":"Running"})");
    provider_->setOnChange([this](const NetworkStatus& status) { changes_.push_back(status); });
  }

  void start() {
    provider_->start();
    simulation_.runReady();
  }
  void setAddress(std::uint8_t last) {
    fakes_.interfaces->current = {{"eth0", {192, 168, 1, last}, InterfaceAddress::Kind::lan}};
  }
  void snapshot() {
    provider_->snapshot([this](NetworkStatus status) { snapshots_.push_back(std::move(status)); });
    simulation_.runReady();
  }
  std::size_t runs() { return tools().runs.size(); }

  std::shared_ptr<NetworkStatusProvider> provider_ =
      std::make_shared<NetworkStatusProvider>(platform(), HostPorts{.session = 47'900, .relay = 47'901});
  std::vector<NetworkStatus> changes_;
  std::vector<NetworkStatus> snapshots_;
};

TEST_F(NetworkStatusProviderTest, detectsAtTheStartAndThenEvery15Seconds) {
  EXPECT_EQ(provider_->current(), std::nullopt);
  start();
  EXPECT_EQ(runs(), 1U);
  ASSERT_TRUE(provider_->current());
  EXPECT_EQ(provider_->current()->health, OverlayHealth::online);
  simulation_.advance(milliseconds(14'999));
  EXPECT_EQ(runs(), 1U);
  simulation_.advance(milliseconds(1));
  EXPECT_EQ(runs(), 2U);
  simulation_.advance(seconds(15));
  EXPECT_EQ(runs(), 3U);
}

TEST_F(NetworkStatusProviderTest, callsOnChangeOnceForTwoEqualResults) {
  start();
  simulation_.advance(seconds(60));
  EXPECT_EQ(runs(), 5U);
  EXPECT_THAT(changes_, ElementsAre(*provider_->current()));
}

TEST_F(NetworkStatusProviderTest, callsOnChangeForEachNewResult) {
  start();
  installTailscale(R"({"BackendState":"Stopped"})");
  simulation_.advance(seconds(15));
  installTailscale(R"({"BackendState":"Running"})");
  simulation_.advance(seconds(15));
  ASSERT_THAT(changes_, SizeIs(3));
  EXPECT_EQ(changes_[1].health, OverlayHealth::notReady);
  EXPECT_EQ(changes_[2], changes_[0]);
}

TEST_F(NetworkStatusProviderTest, followsAChangedAddressWithoutWaitingForTheTimer) {
  start();
  setAddress(9);
  fakes_.interfaces->notify();
  simulation_.advance(NetworkStatusProvider::changeDelay);
  ASSERT_THAT(changes_, SizeIs(2));
  EXPECT_THAT(changes_[1].lanAddresses, ElementsAre("192.168.1.9"));
}

TEST_F(NetworkStatusProviderTest, runsNoToolForANotificationThatChangesNoAddress) {
  start();
  for (int event = 0; event < 100; ++event) {
    fakes_.interfaces->notify();
    simulation_.advance(milliseconds(50));
  }
  EXPECT_EQ(runs(), 1U);
  EXPECT_THAT(changes_, SizeIs(1));
  EXPECT_LE(fakes_.interfaces->reads, 27) << "one read for several notifications";
}

TEST_F(NetworkStatusProviderTest, runsTheToolsWhenTheOverlayGetsAnAddress) {
  start();
  fakes_.interfaces->current.push_back({"tailscale0", {100, 1, 1, 1}, InterfaceAddress::Kind::other});
  fakes_.interfaces->notify();
  simulation_.advance(NetworkStatusProvider::changeDelay);
  EXPECT_EQ(runs(), 2U);
}

TEST_F(NetworkStatusProviderTest, noticesAChangeDuringADetection) {
  tools().onRun = [this] {
    tools().onRun = nullptr;
    setAddress(9);
    fakes_.interfaces->notify();
    simulation_.advance(NetworkStatusProvider::changeDelay);
  };
  start();
  simulation_.advance(seconds(1));
  EXPECT_THAT(provider_->current()->lanAddresses, ElementsAre("192.168.1.9"));
  EXPECT_THAT(changes_, SizeIs(2));
}

TEST_F(NetworkStatusProviderTest, answersASnapshotWithTheLatestResult) {
  start();
  snapshot();
  EXPECT_THAT(snapshots_, ElementsAre(*provider_->current()));
  EXPECT_EQ(runs(), 1U);
}

TEST_F(NetworkStatusProviderTest, detectsForTheFirstSnapshotWithoutAStart) {
  snapshot();
  snapshot();
  EXPECT_THAT(snapshots_, SizeIs(2));
  EXPECT_EQ(runs(), 1U);
  EXPECT_THAT(changes_, IsEmpty()) << "nothing is broadcast before the start";
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(NetworkStatusProviderTest, answersAllSnapshotsThatWaitForTheFirstResult) {
  for (int count = 0; count < 3; ++count)
    provider_->snapshot([this](NetworkStatus status) { snapshots_.push_back(std::move(status)); });
  simulation_.runReady();
  EXPECT_THAT(snapshots_, SizeIs(3));
  EXPECT_EQ(runs(), 1U);
}

TEST_F(NetworkStatusProviderTest, doesNothingMoreAfterTheStop) {
  start();
  EXPECT_TRUE(fakes_.interfaces->isWatched());
  fakes_.interfaces->notify();
  provider_->stop();
  simulation_.runReady();
  EXPECT_FALSE(fakes_.interfaces->isWatched());
  setAddress(9);
  simulation_.advance(seconds(100));
  EXPECT_EQ(runs(), 1U);
  EXPECT_THAT(changes_, SizeIs(1));
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(NetworkStatusProviderTest, broadcastsNoResultThatArrivesAfterTheStop) {
  tools().onRun = [this] {
    tools().onRun = nullptr;
    provider_->stop();
    simulation_.runReady();
  };
  start();
  EXPECT_THAT(changes_, IsEmpty());
}

TEST_F(NetworkStatusProviderTest, endsWithItsOwner) {
  start();
  provider_.reset();
  fakes_.interfaces->notify();
  simulation_.advance(seconds(100));
  EXPECT_EQ(runs(), 1U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

}  // namespace
}  // namespace quorl::test
