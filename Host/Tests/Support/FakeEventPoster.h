// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/EventPoster.h>

namespace quorl::test {

/// Records the events in the order in which they were posted, and takes for a text the time that a test says.
///
/// *Queue*: the simulation's one thread.
class FakeEventPoster : public EventPoster {
 public:
  void post(const SyntheticEvent& event) override { posted.push_back(event); }
  Duration finishText(std::u16string_view following) override {
    return finishing ? finishing(following) : Duration::zero();
  }

  std::vector<SyntheticEvent> posted;
  /// What `finishText` returns; zero without it.
  std::function<Duration(std::u16string_view)> finishing;
};

}  // namespace quorl::test
