// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Displays/X11DisplayCatalog.h>

#include <algorithm>
#include <utility>

namespace quorl {

namespace {

constexpr std::chrono::seconds retryInterval{1};

}  // namespace

X11DisplayCatalog::X11DisplayCatalog(X11DisplayName displayName) {
  loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-displays", *this);
  current();
}

// The loop is the last member and ends first. It is not reset: an attempt to connect uses the pointer.
X11DisplayCatalog::~X11DisplayCatalog() {
  cut_.cut();
}

std::vector<std::uint32_t> X11DisplayCatalog::activeDisplays(std::size_t limit) {
  std::vector<std::uint32_t> ids;
  for (const auto& display : current())
    if (display.isActive && ids.size() < limit) ids.push_back(display.id);
  return ids;
}

std::vector<std::uint32_t> X11DisplayCatalog::onlineDisplays(std::size_t limit) {
  std::vector<std::uint32_t> ids;
  for (const auto& display : current())
    if (ids.size() < limit) ids.push_back(display.id);
  return ids;
}

std::optional<DisplayFacts> X11DisplayCatalog::facts(std::uint32_t displayID) {
  for (const auto& display : current())
    if (display.id == displayID) return display.facts;
  return std::nullopt;
}

std::vector<KnownDisplay> X11DisplayCatalog::current() {
  const std::scoped_lock lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (!isConnected_ && now >= nextAttempt_) {
    nextAttempt_ = now + retryInterval;
    // A failure leaves the list empty.
    loop_->post([this] { static_cast<void>(loop_->connection()); });
  }
  return displays_;
}

void X11DisplayCatalog::connected(X11Connection& connection) {
  connection_ = &connection;
  cut_.opened(connection);
  selectMonitorEvents(connection);
  isStale_ = true;
}

void X11DisplayCatalog::handle(const void* event) {
  if (isMonitorEvent(event, *connection_)) isStale_ = true;
}

// One change makes many events.
std::optional<SteadyTime> X11DisplayCatalog::turn() {
  if (connection_ == nullptr || !std::exchange(isStale_, false)) return std::nullopt;
  auto displays = knownDisplays(readMonitors(*connection_), readOutputs(*connection_));
  const std::scoped_lock lock(mutex_);
  displays_ = std::move(displays);
  isConnected_ = true;
  return std::nullopt;
}

void X11DisplayCatalog::lost() {
  cut_.closed();
  connection_ = nullptr;
  const std::scoped_lock lock(mutex_);
  displays_.clear();
  isConnected_ = false;
}

}  // namespace quorl
