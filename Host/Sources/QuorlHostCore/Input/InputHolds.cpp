// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/InputHolds.h>

#include <utility>

namespace quorl {

bool InputHolds::begin(InputSource source, std::uint64_t ticket) {
  const auto [hold, isNew] = holds_.try_emplace(source);
  hold->second.tickets.insert(ticket);
  return isNew;
}

bool InputHolds::end(InputSource source, std::uint64_t ticket) {
  const auto found = holds_.find(source);
  if (found == holds_.end() || found->second.tickets.erase(ticket) == 0) return false;
  return found->second.tickets.empty();
}

bool InputHolds::add(InputSource source, Action action, bool isRelease) {
  Hold& hold = holds_.at(source);
  if (isRelease) hold.releases.push_back(hold.actions.size());
  hold.actions.push_back(std::move(action));
  return hold.actions.size() < maximumActions;
}

std::vector<InputHolds::Action> InputHolds::release(InputSource source) {
  auto hold = holds_.extract(source);
  return hold.empty() ? std::vector<Action>{} : std::move(hold.mapped().actions);
}

std::vector<InputHolds::Action> InputHolds::drop(InputSource source) {
  auto hold = holds_.extract(source);
  std::vector<Action> releases;
  if (hold.empty()) return releases;
  for (const std::size_t index : hold.mapped().releases)
    releases.push_back(std::move(hold.mapped().actions[index]));
  return releases;
}

}  // namespace quorl
