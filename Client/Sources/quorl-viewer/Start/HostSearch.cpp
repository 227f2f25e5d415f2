// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/HostSearch.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <mutex>
#include <thread>

#include <QuorlUnix/Descriptor.h>

namespace quorl::viewer {
namespace {

constexpr auto searchTime = std::chrono::seconds(3);

}  // namespace

struct HostSearch::Shared {
  Descriptor cancelled{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  std::mutex lock;
  std::function<void(const Result&)> found;  // empty: nobody waits any more
};

HostSearch::HostSearch(std::function<void(const Result&)> found, Search search)
    : shared_(std::make_shared<Shared>()) {
  shared_->found = std::move(found);
  std::thread([shared = shared_, search = std::move(search)] {
    client::Waiter waiter(shared->cancelled.get());
    const auto result = search(waiter, client::within(searchTime));
    const std::scoped_lock guard(shared->lock);
    if (shared->found) shared->found(result);
  }).detach();
}

HostSearch::~HostSearch() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(shared_->cancelled.get(), &one, sizeof one);
  const std::scoped_lock guard(shared_->lock);
  shared_->found = nullptr;
}

}  // namespace quorl::viewer
