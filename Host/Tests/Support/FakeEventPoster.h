// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <QuorlHostCore/Ports/EventPoster.h>

namespace quorl::test {

/// Records the events in the order in which they were posted.
///
/// *Queue*: the simulation's one thread.
class FakeEventPoster : public EventPoster {
 public:
  void post(const SyntheticEvent& event) override { posted.push_back(event); }

  std::vector<SyntheticEvent> posted;
};

}  // namespace quorl::test
