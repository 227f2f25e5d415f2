// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Service/MenuPace.h>

#include <array>

namespace quorl {

namespace {

using std::chrono::milliseconds;

constexpr Duration firstDelay = milliseconds(250);
constexpr std::array<Duration, 5> displayDelays = {milliseconds(100), milliseconds(250), milliseconds(500),
                                                   milliseconds(1000), milliseconds(2000)};

}  // namespace

void MenuPace::displayAppeared() {
  failures_ = 0;
  attempts_ = 0;
}

std::optional<Duration> MenuPace::ended(MonotonicTime now) {
  attempts_ = 0;
  failures_ = now - startedAt_ >= stableTime ? 0 : failures_ + 1;
  if (hasGivenUp()) return std::nullopt;
  return firstDelay * (1 << failures_);
}

std::optional<Duration> MenuPace::unreachable() {
  if (attempts_ == displayDelays.size()) return std::nullopt;
  return displayDelays[attempts_++];
}

}  // namespace quorl
