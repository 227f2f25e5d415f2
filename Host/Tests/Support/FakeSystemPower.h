// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/SystemPower.h>

namespace quorl::test {

/// A machine's power, displays, lock and volume. Records the calls in order.
///
/// *Queue*: the simulation's one thread.
class FakeSystemPower final : public PowerAssertions,
                              public DisplayPower,
                              public ScreenLock,
                              public OutputVolume {
 public:
  ID create(PowerAssertion kind, const std::string& name) override {
    const bool isSystem = kind == PowerAssertion::preventIdleSystemSleep;
    return add((isSystem ? "system " : "display ") + name);
  }
  ID declareUserActivity(const std::string& name) override { return add("activity " + name); }
  void release(ID assertion) override {
    calls.push_back("release " + std::to_string(assertion));
    held.erase(assertion);
  }
  SystemResult sleepDisplays() override { return note("sleepDisplays"); }
  SystemResult lock() override { return note("lock"); }
  SystemResult setVolume(int percent) override { return note("volume " + std::to_string(percent)); }

  std::vector<std::string> calls;
  std::set<ID> held;
  bool isAble = true;  // to create assertions
  std::optional<SystemFailure> failure;

 private:
  ID add(const std::string& call) {
    calls.push_back(call);
    if (!isAble) return none;
    held.insert(++last_);
    return last_;
  }
  SystemResult note(const std::string& call) {
    calls.push_back(call);
    if (failure) return std::unexpected(*failure);
    return {};
  }

  ID last_ = none;
};

}  // namespace quorl::test
