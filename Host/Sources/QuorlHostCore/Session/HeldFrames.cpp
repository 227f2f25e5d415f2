// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/HeldFrames.h>

#include <utility>
#include <vector>

namespace quorl {

std::list<HeldFrames::Held> HeldFrames::push(Held held, const std::optional<StateKey>& key) {
  std::list<Held> removed;
  if (key) remove(*key, removed);
  if (key && isAgentEvent(*key) && agentEvents_ == mostAgentEvents) {
    std::vector<StateKey> events;
    for (const auto& [known, entry] : byKey_)
      if (isAgentEvent(known)) events.push_back(known);
    for (const StateKey& event : events) remove(event, removed);
    lostAgentEvents_ = true;
  }
  const bool isSound = held.frame.type() == FrameType::audio;
  if (isSound && sound_.size() == mostSoundPackets) removeOldestSound(removed);
  const auto entry = entries_.insert(entries_.end(), {std::move(held), key});
  if (key) {
    byKey_[*key] = entry;
    if (isAgentEvent(*key)) ++agentEvents_;
  }
  if (isSound) sound_.push_back(entry);
  return removed;
}

void HeldFrames::removeOldestSound(std::list<Held>& removed) {
  removed.push_back(std::move(sound_.front()->held));
  entries_.erase(sound_.front());
  sound_.pop_front();
}

void HeldFrames::remove(const StateKey& key, std::list<Held>& removed) {
  const auto found = byKey_.find(key);
  if (found == byKey_.end()) return;
  removed.push_back(std::move(found->second->held));
  entries_.erase(found->second);
  byKey_.erase(found);
  if (isAgentEvent(key)) --agentEvents_;
}

std::optional<HeldFrames::Held> HeldFrames::pop() {
  if (entries_.empty()) return std::nullopt;
  if (!sound_.empty() && sound_.front() == entries_.begin()) sound_.pop_front();
  Entry entry = std::move(entries_.front());
  entries_.pop_front();
  if (entry.key) {
    byKey_.erase(*entry.key);
    if (isAgentEvent(*entry.key)) --agentEvents_;
  }
  return std::move(entry.held);
}

bool HeldFrames::takeLostAgentEvents() {
  return std::exchange(lostAgentEvents_, false);
}

}  // namespace quorl
