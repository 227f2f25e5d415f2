// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Power/PowerAssertionGroup.h>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

template <class Create>
PowerAssertions::ID PowerAssertionGroup::collect(const char* purpose, Create create) {
  std::vector<Part> parts;
  for (const auto& member : members_)
    if (const ID part = create(*member); part != none) parts.push_back({member.get(), part});
  if (parts.empty()) {
    Log::app.error(fmt::format("this system offers no way to {}", purpose));
    return none;
  }
  if (++last_ == none) ++last_;
  held_[last_] = std::move(parts);
  return last_;
}

PowerAssertions::ID PowerAssertionGroup::create(PowerAssertion kind, const std::string& name) {
  const char* purpose =
      kind == PowerAssertion::preventIdleSystemSleep ? "keep the machine awake" : "keep the displays awake";
  return collect(purpose, [&](PowerAssertions& member) { return member.create(kind, name); });
}

PowerAssertions::ID PowerAssertionGroup::declareUserActivity(const std::string& name) {
  return collect("wake the displays",
                 [&](PowerAssertions& member) { return member.declareUserActivity(name); });
}

void PowerAssertionGroup::release(ID assertion) {
  const auto found = held_.find(assertion);
  if (found == held_.end()) return;
  for (const Part& part : found->second) part.member->release(part.assertion);
  held_.erase(found);
}

}  // namespace quorl
