// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/HostSearch.h>

#include <atomic>
#include <future>

#include <Support/Eventually.h>
#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using quorl::test::eventually;

TEST(HostSearch, reportsWhatWasFound) {
  std::atomic<std::size_t> found = 0;
  const HostSearch search([&](const HostSearch::Result& result) { found = result ? result->size() : 0; },
                          [](client::Waiter&, client::Deadline) -> HostSearch::Result {
                            return std::vector<client::DiscoveredHost>(2);
                          });
  EXPECT_TRUE(eventually([&] { return found == 2; }));
}

TEST(HostSearch, anEndDoesNotWaitForAHungDaemon) {
  auto release = std::make_shared<std::promise<void>>();
  auto returned = std::make_shared<std::atomic<bool>>(false);
  std::atomic<bool> wasCalled = false;
  auto search = std::make_unique<HostSearch>([&](const HostSearch::Result&) { wasCalled = true; },
                                             [hung = release->get_future().share(), returned](
                                                 client::Waiter&, client::Deadline) -> HostSearch::Result {
                                               hung.wait();
                                               *returned = true;
                                               return std::vector<client::DiscoveredHost>(1);
                                             });
  search.reset();
  EXPECT_FALSE(*returned) << "the search still hangs";
  release->set_value();
  EXPECT_TRUE(eventually([&] { return returned->load(); }));
  EXPECT_FALSE(wasCalled);
}

TEST(HostSearch, anEndInterruptsAWait) {
  auto interrupted = std::make_shared<std::atomic<bool>>(false);
  auto search = std::make_unique<HostSearch>(
      [](const HostSearch::Result&) {},
      [interrupted](client::Waiter& waiter, client::Deadline) -> HostSearch::Result {
        const auto waited = waiter.wait({}, client::within(std::chrono::hours(1)));
        *interrupted = !waited;
        return std::vector<client::DiscoveredHost>();
      });
  search.reset();
  EXPECT_TRUE(eventually([&] { return interrupted->load(); }));
}

}  // namespace
}  // namespace quorl::viewer
