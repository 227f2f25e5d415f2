// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/EventPoster.h>

namespace quorl::test {

/// Records events in the order of posting. A test sets the time that a text takes.
///
/// *Queue*: the simulation's one thread.
class FakeEventPoster : public EventPoster {
 public:
  void post(const SyntheticEvent& event) override { posted.push_back(event); }
  Duration finishText(std::u16string_view following) override {
    return finishing ? finishing(following) : Duration::zero();
  }

  std::vector<SyntheticEvent> posted;
  /// The result of `finishText`; zero if absent.
  std::function<Duration(std::u16string_view)> finishing;
};

}  // namespace quorl::test
