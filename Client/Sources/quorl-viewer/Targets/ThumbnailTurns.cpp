// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Targets/ThumbnailTurns.h>

#include <algorithm>

namespace quorl::viewer {
namespace {

bool contains(const std::vector<StreamTarget>& targets, const StreamTarget& target) {
  return std::ranges::find(targets, target) != targets.end();
}

}  // namespace

void ThumbnailTurns::startWaiting(Actions& actions) {
  while (running_.size() < mostStreams && !waiting_.empty()) {
    actions.starts.push_back(waiting_.front());
    running_.push_back(std::move(waiting_.front()));
    waiting_.erase(waiting_.begin());
  }
}

ThumbnailTurns::Actions ThumbnailTurns::show(const std::vector<StreamTarget>& targets) {
  Actions actions;
  const auto isGone = [&](const StreamTarget& target) { return !contains(targets, target); };
  std::ranges::copy_if(running_, std::back_inserter(actions.stops), isGone);
  std::erase_if(running_, isGone);
  std::erase_if(failed_, isGone);
  waiting_.clear();
  std::ranges::copy_if(targets, std::back_inserter(waiting_), [&](const StreamTarget& target) {
    return !contains(running_, target) && !contains(failed_, target);
  });
  startWaiting(actions);
  return actions;
}

ThumbnailTurns::Actions ThumbnailTurns::turn() {
  Actions actions;
  if (waiting_.empty() || running_.empty()) return actions;
  actions.stops.push_back(running_.front());
  waiting_.push_back(std::move(running_.front()));
  running_.erase(running_.begin());
  startWaiting(actions);
  return actions;
}

ThumbnailTurns::Actions ThumbnailTurns::failed(const StreamTarget& target) {
  Actions actions;
  if (!contains(running_, target)) return actions;
  std::erase(running_, target);
  failed_.push_back(target);
  startWaiting(actions);
  return actions;
}

}  // namespace quorl::viewer
