// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/FormerStates.h>

#include <algorithm>
#include <cstddef>

namespace quorl {

namespace {

constexpr std::size_t mostWindows = 64;

}  // namespace

void FormerStates::ended(std::uint32_t window, const PixelRect& visible, const ConstrainedState& state) {
  const std::scoped_lock lock(mutex_);
  std::erase_if(entries_, [window](const Entry& entry) { return entry.window == window; });
  entries_.push_back({.window = window, .visible = visible, .state = state});
  if (entries_.size() > mostWindows) entries_.pop_front();
}

std::optional<ConstrainedState> FormerStates::requested(std::uint32_t window, PixelSize size) {
  const std::scoped_lock lock(mutex_);
  if (Entry* entry = find(window))
    entry->isSize = size == PixelSize{entry->visible.width, entry->visible.height};
  return takeIfComplete(window);
}

std::optional<ConstrainedState> FormerStates::requested(std::uint32_t window, RootPosition corner) {
  const std::scoped_lock lock(mutex_);
  if (Entry* entry = find(window))
    entry->isCorner = corner.x == entry->visible.x && corner.y == entry->visible.y;
  return takeIfComplete(window);
}

FormerStates::Entry* FormerStates::find(std::uint32_t window) {
  const auto entry = std::ranges::find(entries_, window, &Entry::window);
  return entry == entries_.end() ? nullptr : &*entry;
}

std::optional<ConstrainedState> FormerStates::takeIfComplete(std::uint32_t window) {
  const Entry* entry = find(window);
  if (!entry || !entry->isSize || !entry->isCorner) return std::nullopt;
  const ConstrainedState state = entry->state;
  std::erase_if(entries_, [window](const Entry& each) { return each.window == window; });
  return state;
}

}  // namespace quorl
