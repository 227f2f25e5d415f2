// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Link/NetworkWatch.h>

#include <poll.h>

#include <gtest/gtest.h>

#include <Support/OwnNetwork.h>

#include "../../Support/FakeHost.h"
#include "RecordingListener.h"

namespace quorl::viewer {
namespace {

using client::test::FakeHost;
using quorl::test::inOwnNetwork;
using quorl::test::ip;
using test::LinkRecord;
using test::RecordingListener;
using State = LinkStatus::State;
using namespace std::chrono_literals;

const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000002")};

bool isReadable(const NetworkWatch& watch) {
  pollfd event{watch.descriptor(), POLLIN, 0};
  return ::poll(&event, 1, 30'000) == 1;
}

TEST(NetworkWatchTest, reportsWhatComesAndNotWhatGoes) {
  const bool mayRun = inOwnNetwork([] {
    NetworkWatch watch;
    EXPECT_FALSE(watch.hasGained());
    ip("link set lo up");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_TRUE(watch.hasGained());
    ip("addr add 10.7.7.1/32 dev lo");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_TRUE(watch.hasGained());
    ip("addr del 10.7.7.1/32 dev lo");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_FALSE(watch.hasGained());
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

TEST(NetworkWatchTest, doesNotReportARenewedAddressNorALinkLocalOne) {
  const bool mayRun = inOwnNetwork([] {
    ip("link set lo up");
    ip("link add one type veth peer name two");
    NetworkWatch watch;
    ip("addr add 10.7.7.1/24 dev one");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_TRUE(watch.hasGained());
    ip("addr change 10.7.7.1/24 dev one valid_lft 1000 preferred_lft 1000");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_FALSE(watch.hasGained());
    ip("addr add fe80::7/64 dev one");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_FALSE(watch.hasGained());
    ip("link set one up");
    ip("link set two up");
    EXPECT_FALSE(watch.hasGained()) << "only routes to neighbours";
    ip("route add default via 10.7.7.2");
    ASSERT_TRUE(isReadable(watch));
    EXPECT_TRUE(watch.hasGained());
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

TEST(NetworkWatchTest, bringsALinkBackBeforeItsPauseIsOver) {
  const bool mayRun = inOwnNetwork([] {
    FakeHost host({});
    RecordingListener listener;
    const HostLink link({.host = host.pairedHost(), .device = device}, listener);
    LinkStatus waiting;
    ASSERT_TRUE(listener.waitUntil([&](const LinkRecord& record) {
      if (record.state() != State::waiting) return false;
      waiting = record.statuses.back();
      return waiting.retryAt - waiting.since >= 8s;
    })) << "there is no network";
    ip("link set lo up");
    ASSERT_TRUE(
        listener.waitUntil([](const LinkRecord& record) { return record.state() == State::connected; }));
    EXPECT_LT(listener.record().statuses.back().since, waiting.retryAt);
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

}  // namespace
}  // namespace quorl::viewer
