// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/RunningApplications.h>

namespace quorl::test {

/// Applications and icons that a test sets. Records the renders.
///
/// *Queue*: the simulation's one thread.
class FakeRunningApplications : public RunningApplications {
 public:
  struct Render {
    std::string bundleID;
    std::int32_t pid = 0;
    int side = 0;

    bool operator==(const Render&) const = default;
  };

  std::set<std::int32_t> regularApplications() override {
    ++queries;
    return regular;
  }
  std::optional<Bytes> iconPNG(const std::string& bundleID, std::int32_t pid, int side) override {
    renders.push_back({bundleID, pid, side});
    const auto found = icons.find(bundleID);
    return found == icons.end() ? std::nullopt : std::optional(found->second);
  }

  std::set<std::int32_t> regular{10};  // the process of most windows in tests
  std::map<std::string, Bytes> icons;
  std::vector<Render> renders;
  int queries = 0;  // for the list
};

}  // namespace quorl::test
