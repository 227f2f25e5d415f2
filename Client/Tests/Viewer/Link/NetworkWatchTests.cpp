// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Link/NetworkWatch.h>

#include <poll.h>
#include <sched.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "../../Support/FakeHost.h"
#include "RecordingListener.h"

namespace quorl::viewer {
namespace {

using client::test::FakeHost;
using test::LinkRecord;
using test::RecordingListener;
using State = LinkStatus::State;
using namespace std::chrono_literals;

const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000002")};

/// Runs `work` in a network namespace of its own, whose loopback is down. Returns false without the right to
/// make one.
bool inOwnNetwork(const std::function<void()>& work) {
  bool mayRun = false;
  std::thread([&] {
    mayRun = ::unshare(CLONE_NEWNET) == 0;
    if (mayRun) work();
  }).join();
  return mayRun;
}

void ip(const std::string& arguments) {
  ASSERT_EQ(std::system(("ip " + arguments).c_str()), 0) << arguments;
}

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
