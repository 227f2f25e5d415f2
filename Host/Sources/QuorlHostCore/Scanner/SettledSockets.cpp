// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/SettledSockets.h>

#include <set>

namespace quorl {

bool SettledSockets::contains(const Listener& listener) const {
  const auto found = sockets_.find(listener.identity);
  return found != sockets_.end() && found->second.rest > 0;
}

void SettledSockets::record(const Listener& listener, ProbeResult::Answer answer) {
  if (listener.identity == 0) return;
  switch (answer) {
    case ProbeResult::Answer::otherProtocol:
      sockets_[listener.identity] = {.closes = closesToSettle, .rest = restAfterProtocol};
      return;
    case ProbeResult::Answer::closed: {
      Socket& socket = sockets_[listener.identity];
      if (++socket.closes >= closesToSettle) socket = {.closes = closesToSettle, .rest = restAfterCloses};
      return;
    }
    case ProbeResult::Answer::http:
    case ProbeResult::Answer::none:
      sockets_.erase(listener.identity);
  }
}

void SettledSockets::begin(const std::vector<Listener>& listeners) {
  std::set<std::uint64_t> present;
  for (const Listener& listener : listeners) present.insert(listener.identity);
  std::erase_if(sockets_, [&](const auto& entry) { return !present.contains(entry.first); });
  for (auto& [identity, socket] : sockets_)
    if (socket.rest > 0) --socket.rest;
}

}  // namespace quorl
