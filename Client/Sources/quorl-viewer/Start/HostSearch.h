// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <quorl-client/Hosts/Discovery.h>

namespace quorl::viewer {

/// Looks for hosts on the local networks, on a thread of its own that is left behind at the end: the mDNS
/// daemon may hang for seconds, and a window must close at once.
///
/// *Queue*: one thread; `found` runs on the search's own. *Lifetime*: after destruction `found` does not run
/// any more; destruction waits only for a running `found`.
class HostSearch {
 public:
  using Result = client::Outcome<std::vector<client::DiscoveredHost>>;
  using Search = std::function<Result(client::Waiter& waiter, client::Deadline deadline)>;

  explicit HostSearch(std::function<void(const Result&)> found, Search search = client::discoverHosts);
  ~HostSearch();
  HostSearch(const HostSearch&) = delete;
  HostSearch& operator=(const HostSearch&) = delete;

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

}  // namespace quorl::viewer
