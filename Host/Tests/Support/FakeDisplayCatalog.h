// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <vector>

#include <QuorlHostCore/Ports/DisplayCatalog.h>

namespace quorl::test {

/// Displays that a test sets. At first it knows none, and then those of the captured content count.
///
/// *Queue*: the simulation's one thread.
class FakeDisplayCatalog : public DisplayCatalog {
 public:
  std::vector<std::uint32_t> activeDisplays(std::size_t limit) override { return first(active, limit); }
  std::vector<std::uint32_t> onlineDisplays(std::size_t limit) override { return first(online, limit); }
  std::optional<DisplayFacts> facts(std::uint32_t displayID) override {
    const auto found = known.find(displayID);
    return found == known.end() ? std::nullopt : std::optional(found->second);
  }

  std::vector<std::uint32_t> active;
  std::vector<std::uint32_t> online;
  std::map<std::uint32_t, DisplayFacts> known;
  std::size_t lastLimit = 0;

 private:
  std::vector<std::uint32_t> first(std::vector<std::uint32_t> ids, std::size_t limit) {
    lastLimit = limit;
    if (ids.size() > limit) ids.resize(limit);
    return ids;
  }
};

}  // namespace quorl::test
