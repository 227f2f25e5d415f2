// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/SettledSockets.h>

#include <set>

namespace quorl {

bool SettledSockets::contains(const Listener& listener) const {
  const auto found = closes_.find(listener.identity);
  return found != closes_.end() && found->second >= closesToSettle;
}

void SettledSockets::record(const Listener& listener, ProbeResult::Answer answer) {
  if (listener.identity == 0) return;
  switch (answer) {
    case ProbeResult::Answer::otherProtocol:
      closes_[listener.identity] = closesToSettle;
      return;
    case ProbeResult::Answer::closed:
      ++closes_[listener.identity];
      return;
    case ProbeResult::Answer::http:
    case ProbeResult::Answer::none:
      closes_.erase(listener.identity);
  }
}

void SettledSockets::retain(const std::vector<Listener>& listeners) {
  std::set<std::uint64_t> present;
  for (const Listener& listener : listeners) present.insert(listener.identity);
  std::erase_if(closes_, [&](const auto& entry) { return !present.contains(entry.first); });
}

}  // namespace quorl
